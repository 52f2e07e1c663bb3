// SPDX-License-Identifier: MIT
// <unistd.h> for code that also sees libsec's headers: musl's declares another function `encrypt`,
// which nobody here calls, and which must not meet our own.
#pragma once

#define encrypt encrypt_of_unistd
#include <unistd.h>
#undef encrypt
