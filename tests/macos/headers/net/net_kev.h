// Not among the published headers, and nothing of it is used: <sys/ioctl.h> includes it by way of <sys/socket.h>.
#pragma once
