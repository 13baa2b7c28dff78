// The workspace module: for every element type, allocate and release routines
// of ranks 1 and 2 that fill an array handle, and rank-0 routines for single
// records, all over one counted allocator that draws from the service library.
#include <cstddef>
#include <cstdint>

#include "ruf_interval.h"

#include "frame/imports.h"

// The handle is read by callers that index through it; its layout is fixed.
static_assert(sizeof(void *) == 8 && sizeof(long long) == 8);
static_assert(offsetof(ruf_array, base) == 0 && offsetof(ruf_array, elem_size) == 8 &&
              offsetof(ruf_array, offset) == 16 && offsetof(ruf_array, flags) == 24 &&
              offsetof(ruf_array, rank) == 32 && offsetof(ruf_array, reserved) == 40 &&
              offsetof(ruf_array, dim) == 48);
static_assert(sizeof(ruf_array_dim) == 24 && offsetof(ruf_array_dim, extent) == 0 &&
              offsetof(ruf_array_dim, stride) == 8 && offsetof(ruf_array_dim, lower) == 16);
static_assert(sizeof(ruf_array) == 96);

// Every listed element size is the size of the element type.
#define RUF_WS_ARRAY(code, T, size) static_assert(sizeof(T) == (size), #code);
#define RUF_WS_RECORD(code, size)
#define RUF_MODULE_ROUTINE(name, ret, params)
#include "ruf_interval/workspace.def"
#undef RUF_WS_ARRAY
#undef RUF_WS_RECORD
#undef RUF_MODULE_ROUTINE

namespace {

constexpr long long kAllocatedContiguous = 3;

// The byte count as a 32-bit quantity: products of 2^31 bytes or more wrap,
// which is intended and kept; callers size their requests accordingly.
std::int64_t byte_count(long long elem_size, const int *n1, const int *n2) {
  std::uint32_t count = static_cast<std::uint32_t>(*n1);
  if (n2 != nullptr) count *= static_cast<std::uint32_t>(*n2);
  const std::uint64_t bytes =
      static_cast<std::uint64_t>(static_cast<std::int64_t>(static_cast<std::int32_t>(count))) *
      static_cast<std::uint64_t>(elem_size);
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(bytes));
}

void fill(ruf_array *h, long long address, long long size, long long rank, const int *n1,
          const int *n2) {
  const long long e1 = *n1 > 0 ? *n1 : 0;
  h->base = reinterpret_cast<void *>(static_cast<std::intptr_t>(address));
  h->elem_size = size;
  h->offset = rank == 1 ? -size : -size * (1 + e1);
  h->flags = kAllocatedContiguous;
  h->rank = rank;
  h->dim[0] = {e1, size, 1};
  if (rank == 2) h->dim[1] = {*n2 > 0 ? *n2 : 0, size * e1, 1};
}

void allocate(ruf_array *h, long long size, long long rank, const int *n1, const int *n2,
              int *stat) {
  long long cell = size;
  int status = 0;
  ruf_alloc_allocate_ruf_malloc(&cell, &status, n1, n2, stat);
  if (status != 0) return;
  fill(h, cell, size, rank, n1, n2);
}

void release(void **base, int *stat) {
  long long cell = static_cast<long long>(reinterpret_cast<std::intptr_t>(*base));
  ruf_alloc_deallocate_ruf_malloc(&cell, stat);
  *base = nullptr;
}

void allocate_record(void **record, long long size, int *stat) {
  long long cell = size;
  int status = 0;
  const int one = 1;
  ruf_alloc_allocate_ruf_malloc(&cell, &status, &one, nullptr, stat);
  if (status != 0) return;
  *record = reinterpret_cast<void *>(static_cast<std::intptr_t>(cell));
}

} // namespace

extern "C" {

void ruf_alloc_allocate_ruf_malloc(long long *cell, int *status, const int *n1, const int *n2,
                                   int *stat) {
  void *p = ruf_serv_allocate(byte_count(*cell, n1, n2));
  *cell = static_cast<long long>(reinterpret_cast<std::intptr_t>(p));
  if (p == nullptr) {
    *status = 1;
    if (stat != nullptr) {
      *stat = 1;
      return;
    }
    static const int kFailure = 1000;
    xerbla_("MALLOCA", &kFailure, 7);
    return;
  }
  if (stat != nullptr) *stat = 0;
  *status = 0;
}

void ruf_alloc_deallocate_ruf_malloc(long long *cell, int *stat) {
  ruf_serv_deallocate(reinterpret_cast<void *>(static_cast<std::intptr_t>(*cell)));
  if (stat != nullptr) *stat = 1;
}

void ruf_alloc_arithmetic(void) {}
void ruf_alloc_interval_types(void) {}

#define RUF_WS_ARRAY(code, T, size)                                                                \
  void ruf_alloc_allocate_##code##_1_ruf(ruf_array *handle, const int *n, int *stat) {             \
    allocate(handle, size, 1, n, nullptr, stat);                                                   \
  }                                                                                                \
  void ruf_alloc_allocate_##code##_2_ruf(ruf_array *handle, const int *n1, const int *n2,          \
                                         int *stat) {                                              \
    allocate(handle, size, 2, n1, n2, stat);                                                       \
  }                                                                                                \
  void ruf_alloc_deallocate_##code##_1_ruf(ruf_array *handle, int *stat) {                         \
    release(&handle->base, stat);                                                                  \
    handle->flags = 0;                                                                             \
  }                                                                                                \
  void ruf_alloc_deallocate_##code##_2_ruf(ruf_array *handle, int *stat) {                         \
    release(&handle->base, stat);                                                                  \
    handle->flags = 0;                                                                             \
  }
#define RUF_WS_RECORD(code, size)                                                                  \
  void ruf_alloc_allocate_##code##_0_ruf(void **record, int *stat) {                               \
    allocate_record(record, size, stat);                                                           \
  }                                                                                                \
  void ruf_alloc_deallocate_##code##_0_ruf(void **record, int *stat) {                             \
    release(record, stat);                                                                         \
  }
#define RUF_MODULE_ROUTINE(name, ret, params)
#include "ruf_interval/workspace.def"
#undef RUF_WS_ARRAY
#undef RUF_WS_RECORD
#undef RUF_MODULE_ROUTINE

} // extern "C"
