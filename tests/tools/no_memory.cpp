// Preloaded into ruf-solve by tools_cli: the service allocator always fails,
// so every solver runs out of workspace.
#include <cstdint>

extern "C" void *ruf_serv_allocate(std::int64_t) {
  return nullptr;
}
