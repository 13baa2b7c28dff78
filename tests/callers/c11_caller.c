/* A C11 program built against the installed header and pkg-config file,
 * calling the upper-case spellings. Exit status 0 when every check holds.
 * <complex.h> comes first: its macro I must not disturb the library's header. */
#include <complex.h>
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

  /* A solver through its upper-case spelling; hidden option lengths last. */
  ruf_di a[4] = {{2, 2}, {1, 1}, {0, 0}, {4, 4}}, b[2] = {{2, 2}, {3, 3}};
  int n = 2, nrhs = 1, lda = 2, ldb = 2, info = -99;
  DITRTRS("L", "N", "N", &n, &nrhs, a, &lda, b, &ldb, &info, 1, 1, 1);
  check(info == 0 && b[0].inf == 1 && b[0].sup == 1 && b[1].inf == 0.5 && b[1].sup == 0.5,
        "DITRTRS lower solve");
  DIGEGAS("N", &n, &nrhs, a, &lda, b, &ldb, &info, 1);
  check(info == 0 && b[0].inf <= 0.5 && 0.5 <= b[0].sup, "DIGEGAS");

  /* A complex member: discs, the C99 complex MID through the C convention. */
  ruf_zc za[1] = {{2, 1, 0.25}}, zb[1] = {{3, -1, 0.5}};
  n = 1;
  ZCGEGAS("N", &n, &nrhs, za, &n, zb, &n, &info, 1);
  const double _Complex want = (3.0 - 1.0 * I) / (2.0 + 1.0 * I), c = ZC_MID(zb);
  check(info == 0 && cabs(want - c) <= zb[0].rad, "ZCGEGAS encloses (3-i)/(2+i)");

  /* Complex midpoints come back as float _Complex / double _Complex function
   * values, which only a C caller sees through the platform's convention. */
  const ruf_cr cr = {{1.0f, 2.0f}, {-3.0f, 5.0f}};
  const ruf_zr zr = {{0.25, 0.25}, {-1.0, 3.0}};
  const ruf_cc cc = {3.0f, -4.0f, 0.5f};
  check(CR_MID(&cr) == 1.5f + 1.0f * I && CC_MID(&cc) == 3.0f - 4.0f * I, "CR_MID, CC_MID");
  check(ZR_MID(&zr) == 0.25 + 1.0 * I && zr_mid_(&zr) == ZR_MID_(&zr), "ZR_MID's spellings");

  printf("%d passed, %d failed\n", 9 - failures, failures);
  return failures != 0;
}
