// SPDX-License-Identifier: MIT
// Stands before the header of this name that GCC configured for glibc: its C++ headers then work, as
// far as they need no run-time library, with musl.
