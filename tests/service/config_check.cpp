// get_cfg_serial against the environment the test was started with:
//   config_check <expected answer>
#include <cstdio>
#include <cstdlib>

#include "ruf_service.h"

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  const int want = std::atoi(argv[1]);
  ruf_cfg_file(1);
  const int got = get_cfg_serial();
  if (got != want || get_cfg_serial() != got) {
    std::fprintf(stderr, "get_cfg_serial answered %d, expected %d\n", got, want);
    return 1;
  }
  std::printf("1 passed, 0 failed\n");
  return 0;
}
