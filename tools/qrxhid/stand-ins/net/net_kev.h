// Among the published headers of macOS it is missing, and nothing of it is used: <sys/ioctl.h> includes it by way of
// <sys/socket.h>.
#pragma once

#if __has_include_next(<net/net_kev.h>)
#include_next <net/net_kev.h>
#endif
