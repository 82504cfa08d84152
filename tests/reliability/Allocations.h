#ifndef ZIN_RELIABILITY_ALLOCATIONS_H
#define ZIN_RELIABILITY_ALLOCATIONS_H

// What allocation_injector offers.
extern "C" {
void AllocationsBegin();
void AllocationsEnd();
unsigned long AllocationsCounted();
}

#endif  // ZIN_RELIABILITY_ALLOCATIONS_H
