// Test doubles linked into every test program: a capturing xerbla_ (the
// LAPACK one would stop the program) and an allocator that can be told to
// fail, both interposed over the libraries' imports.
#pragma once

#include <string>
#include <vector>

namespace ruf_test {

struct XerblaCall {
  std::string name; // exactly name_len characters
  int info;         // the value the position pointer held
  int name_len;
};

// Every xerbla_ call since the last reset.
std::vector<XerblaCall> &xerbla_calls();
void reset_xerbla();

// The k-th ruf_serv_allocate call from now on returns null (k >= 1); 0
// disables the injection. allocation_count() counts calls since the last
// arm_allocation_failure/reset.
void arm_allocation_failure(int k);
int allocation_count();
int live_allocations(); // allocations not yet released
// The byte counts of the requests since the last arm_allocation_failure/reset.
const std::vector<long long> &allocation_sizes();

// Clears both doubles; call in SetUp.
inline void reset_doubles() {
  reset_xerbla();
  arm_allocation_failure(0);
}

} // namespace ruf_test
