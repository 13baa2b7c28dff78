/* An interval linear system from C: a 3x3 matrix whose entries are known to
 * within 1e-3, solved by Gaussian elimination (DIGEGAS) and by the fast
 * verified solver (DIGEVSV), whose info = 0 is a proof that the box holds
 * every solution. Arrays are column-major; every argument is a pointer. */
#include <stdio.h>

#include "ruf_interval.h"

enum { N = 3 };

static ruf_di around(double x, double r) {
  ruf_di v = {x - r, x + r};
  return v;
}

int main(void) {
  static const double mid[N][N] = {{4, 1, 0}, {1, 5, 2}, {0, 2, 6}}; /* symmetric */
  ruf_di a[N * N], b[N], b2[N];
  for (int j = 0; j < N; ++j)
    for (int i = 0; i < N; ++i)
      a[i + j * N] = around(mid[i][j], 1e-3); /* a(i, j) */
  for (int i = 0; i < N; ++i)
    b[i] = b2[i] = around(1.0, 0.0);

  const int n = N, nrhs = 1, ld = N;
  int info;
  DIGEGAS("N", &n, &nrhs, a, &ld, b, &ld, &info, 1);
  printf("DIGEGAS, info = %d\n", info);
  for (int i = 0; i < N; ++i)
    printf("  x%d in [%.12f, %.12f]\n", i + 1, b[i].inf, b[i].sup);

  double approx[N];
  DIGEVSV("N", &n, &nrhs, a, &ld, b2, &ld, approx, &ld, &info, 1);
  printf("DIGEVSV, info = %d (%s)\n", info, info == 0 ? "verified" : "not verified");
  for (int i = 0; i < N; ++i)
    printf("  x%d in [%.12f, %.12f], approximately %.12f\n", i + 1, b2[i].inf, b2[i].sup,
           approx[i]);
  return info == 0 ? 0 : 1;
}
