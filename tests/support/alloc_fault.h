// Allocation failures on demand. The program that links this has its malloc, calloc and realloc wrapped.
#ifndef ZELMO_TESTS_SUPPORT_ALLOC_FAULT_H
#define ZELMO_TESTS_SUPPORT_ALLOC_FAULT_H

/// From now on the nth allocation (from 1) of this thread fails, and with `all_after` every later one too.
void alloc_fault_arm(unsigned n, bool all_after);

/// Allocations succeed again. True when one had failed since the arming.
bool alloc_fault_disarm();

#endif
