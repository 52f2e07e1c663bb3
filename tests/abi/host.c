/* SPDX-License-Identifier: MIT
 *
 * A host in C99 that loads libsec by path, as the management agent does, and holds the records, the
 * exported names and the primitives against known answers. It exports functions of its own under
 * every name that libsec exports (traps.c, made from abi/symbols.txt): a call inside libsec that
 * ended in one of them would be counted.
 *
 *     host LIBRARY SYMBOL-LIST
 */
#include "host.h"

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static void *library;
static int failures;

void expect(int ok, const char *what) {
  if (ok) return;
  failures++;
  printf("FAILED: %s\n", what);
}

void *library_data(const char *name) {
  void *address = dlsym(library, name);
  if (!address) {
    printf("FAILED: %s is not exported\n", name);
    exit(1);
  }
  return address;
}

any_function *library_function(const char *name) {
  /* ISO C has no conversion from a data pointer to a function pointer; dlsym needs one. */
  void *address = library_data(name);
  any_function *function;
  memcpy(&function, &address, sizeof function);
  return function;
}

/* Every listed name can be looked up; that nothing else is exported is checked on the file. */
void check_names(const char *symbol_list) {
  char kind[16], name[64];
  int count = 0;
  FILE *list = fopen(symbol_list, "r");
  if (!list) {
    printf("FAILED: cannot open %s\n", symbol_list);
    exit(1);
  }
  while (fscanf(list, "%15s %63s", kind, name) == 2) {
    count++;
    if (!dlsym(library, name)) expect(0, name);
  }
  fclose(list);
  expect(count == 91, "82 functions and 9 globals are listed");
  printf("names: %d\n", count);
}

int main(int argc, char **argv) {
  if (argc != 3) {
    puts("usage: host LIBRARY SYMBOL-LIST");
    return 2;
  }
  library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (!library) {
    printf("FAILED: %s\n", dlerror());
    return 1;
  }
  check_names(argv[2]);
  check_records();
  check_crypto_vectors();
  check_number_vectors();
  printf("calls that left the library: %d\n", trapped);
  expect(trapped == 0, "calls inside the library stay inside it");
  puts(failures ? "host: FAILED" : "host: ok");
  return failures != 0;
}
