/* A C11 program built against the installed header and pkg-config file,
 * calling the upper-case spellings. Exit status 0 when every check holds. */
#include <math.h>
#include <stdio.h>

#include "ruf_interval.h"

static int failures = 0;

static void check(int ok, const char *what) {
  if (!ok) {
    fprintf(stderr, "FAILED: %s\n", what);
    ++failures;
  }
}

int main(void) {
  const ruf_di x = {-1.0, 2.0}, y = {-3.0, 4.0};
  ruf_di r;
  DI_DI_MULT(&r, &x, &y);
  check(r.inf == -4.0 && r.sup == 8.0, "DI_DI_MULT([-1,2],[-3,4]) = [-4,8]");

  const ruf_di one = {1.0, 1.0}, tiny = {0x1p-60, 0x1p-60};
  DI_DI_ADDI_(&r, &one, &tiny);
  check(r.inf == 1.0 && r.sup == nextafter(1.0, 2.0), "DI_DI_ADDI_ rounds outward");

  const ruf_si xs = {2.0f, 4.0f};
  check(S_MIG(&xs) == 2.0f, "S_MIG([2,4]) = 2");
  check(D_MAG(&y) == 4.0, "D_MAG([-3,4]) = 4");

  printf("%d passed, %d failed\n", 4 - failures, failures);
  return failures != 0;
}
