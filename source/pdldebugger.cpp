#include "pdldebugger.h"

rtk::BinarySemaphore PDLDebugger::s_breakpoint(true);
std::atomic<bool> PDLDebugger::s_singleStep(false);
