/* A deliberately wrong frame for the machine-code check to reject: one
 * product is computed before the switch to upward rounding and one sum after
 * the restore, on a path the address order alone would not reveal. */
static unsigned csr(void) {
  unsigned v;
  __asm__ volatile("stmxcsr %0" : "=m"(v)::"memory");
  return v;
}
static void set_csr(unsigned v) { __asm__ volatile("ldmxcsr %0" ::"m"(v) : "memory"); }

void ruf_interval_di_misplaced(double *r, const double *x) {
  const double early = x[0] * 3.0;
  const unsigned saved = csr();
  set_csr(saved | 0x4000u);
  r[1] = x[1] * 5.0;
  set_csr(saved);
  r[0] = early;
  if (x[1] > 1.0) r[1] += x[0];
}
