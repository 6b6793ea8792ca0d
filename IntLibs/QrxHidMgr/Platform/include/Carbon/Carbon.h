#pragma once

#include <CoreServices/CoreServices.h>
