/* The events of the system by which a test and the module that waits know of each other. */
#pragma once

/* Set by the module when it has started, stops or installs. */
#define WAITING_MODULE_IS_INSIDE L"varnel-waiting-module-is-inside"
/* Awaited by a stop and an installation. */
#define WAITING_MODULE_MAY_GO L"varnel-waiting-module-may-go"
