#include "tests/growth/step_counter.h"

unsigned long g_steps = 0;

// Called by the compiler's instrumentation.
extern "C" void __sanitizer_cov_trace_pc();
extern "C" void __sanitizer_cov_trace_pc() {
    ++g_steps;
}
