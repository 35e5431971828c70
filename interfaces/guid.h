/* GUID: 16 bytes, the first three fields in the machine's (little-endian) order. On Windows it is the system's own. */
#ifndef VARNEL_INTERFACES_GUID_H_
#define VARNEL_INTERFACES_GUID_H_

#ifdef _WIN32
#include <guiddef.h>
#else
#include <stdint.h>
typedef struct GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
} GUID;
#endif

#if defined(__cplusplus) && !defined(_WIN32)
#include <string.h>
inline bool operator==(const GUID& a, const GUID& b) {
  return memcmp(&a, &b, sizeof(GUID)) == 0;
}
inline bool operator!=(const GUID& a, const GUID& b) {
  return !(a == b);
}
#endif

#endif /* VARNEL_INTERFACES_GUID_H_ */
