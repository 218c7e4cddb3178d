#pragma once

// The header uses a C++ keyword as the name of a structure member.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
