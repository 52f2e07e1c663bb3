// SPDX-License-Identifier: MIT
// Included before everything else under MemorySanitizer. What the C++ library has compiled already writes
// memory behind the sanitizer's back; its templates are compiled anew with the program instead.
#pragma once

#include <bits/c++config.h>
#undef _GLIBCXX_EXTERN_TEMPLATE
#define _GLIBCXX_EXTERN_TEMPLATE 0
