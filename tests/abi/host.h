/* SPDX-License-Identifier: MIT
 *
 * What the parts of the C99 host share.
 */
#ifndef LIBSEC_TESTS_ABI_HOST_H
#define LIBSEC_TESTS_ABI_HOST_H

/* A function of the library, found by name as the agent finds it. Ends the test when it is missing. */
typedef void any_function(void);
any_function *library_function(const char *name);

/* The same for a global. */
void *library_data(const char *name);

/* Counts a failure, and prints it, unless `ok`. */
void expect(int ok, const char *what);

/* Calls that reached a function of the host's own in place of the library's (tests/abi/traps). */
extern int trapped;

void check_records(void);
void check_names(const char *symbol_list);
void check_number_vectors(void);
void check_crypto_vectors(void);

#endif
