/* A C11 caller of the complex routines through their upper-case names: the
 * midpoints come back as float _Complex / double _Complex function values,
 * which only a C caller sees through the platform's calling convention.
 * Exits non-zero if any check fails. */
/* <complex.h> first: its macro I must not disturb the library's header. */
#include <complex.h>
#include <math.h>
#include <stdio.h>

#include "ruf_interval.h"

static int failures = 0;

#define CHECK(cond)                                                                                \
  do {                                                                                             \
    if (!(cond)) {                                                                                 \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond);                     \
      ++failures;                                                                                  \
    }                                                                                              \
  } while (0)

int main(void) {
  const ruf_cr cr = {{1.0f, 2.0f}, {-3.0f, 5.0f}};
  const float complex cm = CR_MID(&cr);
  CHECK(crealf(cm) == 1.5f && cimagf(cm) == 1.0f);

  const ruf_zr zr = {{0.25, 0.25}, {-1.0, 3.0}};
  const double complex zm = ZR_MID(&zr);
  CHECK(creal(zm) == 0.25 && cimag(zm) == 1.0);

  const ruf_cc cc = {3.0f, -4.0f, 0.5f};
  const float complex ccm = CC_MID(&cc);
  CHECK(crealf(ccm) == 3.0f && cimagf(ccm) == -4.0f);

  const ruf_zc zc = {-0.5, 0.125, 2.0};
  const double complex zcm = ZC_MID(&zc);
  CHECK(creal(zcm) == -0.5 && cimag(zcm) == 0.125);

  /* Every spelling of one wrapper returns the same value. */
  CHECK(zr_mid(&zr) == zm && zr_mid_(&zr) == zm && ZR_MID_(&zr) == zm);
  CHECK(ruf_interval_cc_mid(&cc) == ccm);

  /* A few of the real-valued and writing routines, by the same names. */
  const ruf_zr p34 = {{3.0, 3.0}, {4.0, 4.0}};
  CHECK(ZR_MAG(&p34) == 5.0);
  CHECK(CC_MAG(&cc) == 5.5f);
  CHECK(ZC_MIG(&zc) == 0.0);
  CHECK(CR_ISEMPTY(&cr) == 0 && ZC_ISEMPTY(&zc) == 0);
  CHECK(CR_SB(&cr, &cr) == 0); /* compares against the imaginary lower bound */

  const ruf_zc a = {1.0, 1.0, 0.5}, b = {2.0, 0.0, 0.25};
  ruf_zc sum;
  ZC_ZC_ADDI(&sum, &a, &b);
  CHECK(sum.re == 3.0 && sum.im == 1.0 && sum.rad == 0.75);

  const ruf_cr one = {{1.0f, 1.0f}, {0.0f, 0.0f}};
  ruf_cr prod;
  CR_CR_MULT(&prod, &one, &cr);
  CHECK(prod.re.inf == 1.0f && prod.re.sup == 2.0f && prod.im.inf == -3.0f && prod.im.sup == 5.0f);

  if (failures) fprintf(stderr, "%d check(s) failed\n", failures);
  return failures != 0;
}
