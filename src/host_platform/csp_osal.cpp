// The OS abstraction layer: on a desk there is nothing to prepare.
#include "csp_osal.h"

int cspOsalInitOnce(int /*argc*/, char** /*argv*/) { return 0; }

int cspOsalInitThread() { return 0; }
