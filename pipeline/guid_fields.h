// A GUID as the eleven arguments of the format "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}".
#pragma once

#define VARNEL_GUID_FIELDS(guid)                                                                                \
  (guid).Data1, (guid).Data2, (guid).Data3, (guid).Data4[0], (guid).Data4[1], (guid).Data4[2], (guid).Data4[3], \
      (guid).Data4[4], (guid).Data4[5], (guid).Data4[6], (guid).Data4[7]
