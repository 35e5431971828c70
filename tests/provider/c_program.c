/* A C program that uses the provider library as its users do: linked with the shared library, nothing but its header.
 */
#include <errno.h>
#include <stdio.h>

#include "provider/varnel_provider.h"

int main(int argc, char** argv) {
  static const varnel_guid kGuid = {0xD8909C24, 0x5BE9, 0x4502, {0x98, 0xCA, 0xAB, 0x7B, 0xDC, 0x24, 0x89, 0x9D}};
  const uint16_t wide[] = {'w', 'i', 'd', 'e', 0};
  varnel_registration* registration;
  int failures = 0;
  if (argc != 2) return 2;
  if (varnel_register(argv[1], &kGuid, &registration) != 0) {
    fprintf(stderr, "not registered\n");
    return 1;
  }
  if (varnel_enabled(registration)) {
    failures += varnel_transfer_msg_ansi(registration, 0x80, 8, __func__, __LINE__, 0, "ansi") != 0;
    failures += varnel_transfer_msg_wide(registration, 0x80, 8, __func__, __LINE__, 0, wide) != 0;
    failures += varnel_transfer_binary(registration, 0x80, 8, __func__, __LINE__, 0, "bin", 3) != 0;
    failures += varnel_transfer_binary(registration, 0, 8, __func__, __LINE__, 0, "bin", 3) != EINVAL;
  } else {
    failures = 10;
  }
  varnel_unregister(registration);
  return failures;
}
