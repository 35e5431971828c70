/* What the tool's operations answer. Every status is an unsigned 32-bit number and 0 is success.
 *
 * The values below are the framework's own. Start and Stop, and InstallVarnel and UninstallVarnel, also hand through
 * Win32 error numbers (87, 31, ...) and HRESULTs of the step that failed. 0x80000002 and 0x80000004 are not the values
 * that today's Windows headers give for the same conditions: hosts compare with these. */
#ifndef VARNEL_INTERFACES_WARDLET_STATUS_H_
#define VARNEL_INTERFACES_WARDLET_STATUS_H_

#include <stdint.h>

typedef uint32_t VarnelStatus;

#define VNSTAT_SUCCESS UINT32_C(0)
/* The factory or the tool object could not be allocated. */
#define VNSTAT_OUT_OF_MEMORY UINT32_C(0x80000002)
/* QueryInterface for an interface that the object lacks. */
#define VNSTAT_NO_INTERFACE UINT32_C(0x80000004)
/* CreateInstance with a null result pointer, or with an IID that the tool lacks. */
#define VNSTAT_UNEXPECTED UINT32_C(0x8000FFFF)
/* CreateInstance with an outer object. */
#define VNSTAT_NO_AGGREGATION UINT32_C(0x80040110)
/* DllGetClassObject for a class other than GUID_WARDLET_TOOL. */
#define VNSTAT_CLASS_NOT_AVAILABLE UINT32_C(0x80040111)
/* General failure: GetVarnelVersion with a null record, and operations that gave up before they learned better. */
#define VNSTAT_UNSUCCESSFUL UINT32_C(0x90000000)
/* GetVarnelVersion with a dwSize other than the record's size. */
#define VNSTAT_INVALID_SIZE UINT32_C(0x90000013)

#endif /* VARNEL_INTERFACES_WARDLET_STATUS_H_ */
