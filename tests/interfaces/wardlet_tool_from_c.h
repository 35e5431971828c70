/* What a host written in C does with the tool. */
#ifndef VARNEL_TESTS_INTERFACES_WARDLET_TOOL_FROM_C_H_
#define VARNEL_TESTS_INTERFACES_WARDLET_TOOL_FROM_C_H_

#include "interfaces/wardlet_tool.h"

#ifdef __cplusplus
extern "C" {
#endif

VarnelStatus CHostMakeTool(WardletGetClassObjectFunction get_class_object, WardletToolInterface** tool);
VarnelStatus CHostVersion(WardletToolInterface* tool, VarnelVersionInfo* info);
VarnelStatus CHostStartAndStop(WardletToolInterface* tool, int* texts);
uint32_t CHostRelease(WardletToolInterface* tool);

#ifdef __cplusplus
}
#endif

#endif /* VARNEL_TESTS_INTERFACES_WARDLET_TOOL_FROM_C_H_ */
