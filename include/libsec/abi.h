/* SPDX-License-Identifier: MIT
 *
 * Conventions of the libsec C ABI, said once for all headers.
 *
 *  1. Names. Functions are grouped by prefix: `ZOLT_`, `socket_`, `packet_`,
 *     `set_` and `get_`, `session_`, `sha256_`, `havege_`, `num_`. A destination
 *     argument comes first: num_add_num(X, A, B) stores A + B in X.
 *  2. Widths. Every integer has an explicit width. A length is a count of bytes
 *     unless its comment says limbs, words or bits.
 *  3. Byte order. Every multi-byte integer on the wire, in key material, in
 *     cipher blocks and in digests is big-endian. Integers in records are in the
 *     machine's own order.
 *  4. Results. Transport, protocol, packet and session functions return 0 for
 *     success and -1 for failure. The `num_` family returns the NUM_ERR_ codes of
 *     num.h. The primitives of crypto.h report no errors.
 *  5. Pointers. No function checks a pointer for null unless its comment says so.
 *     A pointer that is passed in is only borrowed for the call.
 *  6. Records are laid out with the platform's natural alignment. Their fields,
 *     field order and widths are part of the ABI, and so are their sizes.
 *  7. Diagnostics are fixed English lines on standard output. Nothing else is
 *     ever written there, and nothing at all to standard error.
 *  8. Threads. Sessions, the throttle of the receive loop, the cipher's key tables
 *     and the start time of hardclock() are module-wide and unguarded: call the
 *     library from one thread. The `num_` family and SHA-256 keep no such state and
 *     may run on several threads at once, on distinct records.
 */
#ifndef LIBSEC_ABI_H
#define LIBSEC_ABI_H

#include <stddef.h>
#include <stdint.h>

/* Functions are bound inside the library ("protected"), so a host that exports a
 * function of the same name (C libraries have an `encrypt`) cannot slip between two
 * parts of libsec. Data stays ordinary, so that a host may read and write it. */
#if defined(LIBSEC_BUILD) && defined(__GNUC__)
#define LIBSEC_FUNCTION __attribute__((visibility("protected")))
#define LIBSEC_DATA __attribute__((visibility("default")))
#else
#define LIBSEC_FUNCTION
#define LIBSEC_DATA
#endif

/* Results that carry a failure are not to be dropped by accident inside libsec;
 * callers of the C ABI are left free. */
#if defined(LIBSEC_BUILD) && defined(__cplusplus)
#define LIBSEC_CHECKED [[nodiscard]]
#else
#define LIBSEC_CHECKED
#endif

#ifdef __cplusplus
#define LIBSEC_BEGIN extern "C" {
#define LIBSEC_END }
#else
#define LIBSEC_BEGIN
#define LIBSEC_END
#endif

#endif
