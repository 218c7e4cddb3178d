#pragma once

// The header names a structure member with a keyword of C++.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
