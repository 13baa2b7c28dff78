/* Outward rounding made visible: the same sums and products in plain
 * floating point and as ruf-interval enclosures. */
#include <stdio.h>

#include "ruf_interval.h"

static void show(const char *what, ruf_di r) {
  printf("  %-28s [%.17g, %.17g]\n", what, r.inf, r.sup);
}

int main(void) {
  const ruf_di tenth = {0.1, 0.1}; /* the double nearest 0.1, not 0.1 itself */
  ruf_di sum = {0.0, 0.0};
  double plain = 0.0;
  for (int i = 0; i < 10; ++i) {
    DI_DI_ADDI(&sum, &sum, &tenth);
    plain += 0.1;
  }
  printf("Ten additions of 0.1\n  %-28s  %.17g\n", "plain double:", plain);
  show("interval enclosure:", sum);

  const ruf_di third = {1.0 / 3.0, 1.0 / 3.0}, three = {3.0, 3.0};
  ruf_di prod;
  DI_DI_MULT(&prod, &third, &three);
  printf("(1/3 rounded) times 3\n  %-28s  %.17g\n", "plain double:", (1.0 / 3.0) * 3.0);
  show("interval enclosure:", prod);

  const ruf_di x = {-1.0, 2.0}, y = {-3.0, 4.0}, d = {2.0, 4.0}, z = {-1.0, 1.0};
  ruf_di r;
  printf("Interval operations\n");
  DI_DI_MULT(&r, &x, &y);
  show("[-1,2] * [-3,4]:", r);
  DI_DI_DIVI(&r, &x, &d);
  show("[-1,2] / [2,4]:", r);
  DI_DI_DIVI(&r, &x, &z);
  show("[-1,2] / [-1,1]:", r);
  DI_SQR(&r, &x);
  show("sqr([-1,2]):", r);

  printf("Measures of [-1,2]\n");
  printf("  %-28s  %.17g\n", "midpoint:", D_MID(&x));
  printf("  %-28s  %.17g\n", "radius (rounded up):", D_RAD(&x));
  printf("  %-28s  %g\n", "magnitude:", D_MAG(&x));
  printf("  %-28s  %g\n", "mignitude of [2,4]:", D_MIG(&d));
  printf("  %-28s  %d\n", "[2,4] inside [-1,2]?", D_SB(&d, &x));
  ruf_di meet;
  D_IX(&meet, &x, &d);
  show("[-1,2] intersect [2,4]:", meet);

  /* A complex rectangle w = [1,2] + [0,1]i squared, and its magnitude. */
  const ruf_zr w = {{1.0, 2.0}, {0.0, 1.0}};
  ruf_zr zz;
  ZR_ZR_MULT(&zz, &w, &w);
  printf("Complex rectangle w = [1,2] + [0,1]i\n");
  printf("  %-28s  [%g, %g] + [%g, %g]i\n", "w * w:", zz.re.inf, zz.re.sup, zz.im.inf, zz.im.sup);
  printf("  %-28s  %.17g\n", "|w| bound (rounded up):", ZR_MAG(&w));

  /* Discs: <centre, radius>; the product's radius is rounded up. */
  const ruf_zc p = {1.0, 1.0, 0.1}, q = {0.0, 2.0, 0.05};
  ruf_zc pq;
  ZC_ZC_MULT(&pq, &p, &q);
  printf("Discs <1+1i, 0.1> * <2i, 0.05>\n");
  printf("  %-28s  <%g%+gi, %.17g>\n", "product:", pq.re, pq.im, pq.rad);
  return 0;
}
