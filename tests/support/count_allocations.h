// SPDX-License-Identifier: Apache-2.0
//
// A count of what the test program takes from the heap through operator new. Linked in, count_allocations.cc replaces the operators.
#ifndef WVAD_TESTS_SUPPORT_COUNT_ALLOCATIONS_H_
#define WVAD_TESTS_SUPPORT_COUNT_ALLOCATIONS_H_

namespace TSEG::testing_support {

// Requests since the program began.
long CountAllocations();

}  // namespace TSEG::testing_support

#endif  // WVAD_TESTS_SUPPORT_COUNT_ALLOCATIONS_H_
