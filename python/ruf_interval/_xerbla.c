/* The error handler the Python binding loads before the library, so that a
 * bad argument is recorded instead of ending the interpreter (LAPACK's own
 * xerbla_ prints a line and exits). Loaded with RTLD_GLOBAL, it is the
 * xerbla_ that the library and LAPACK reach. */
#include <string.h>

static char last_name[32];
static int last_info, reports;

void xerbla_(const char *name, const int *info, int name_len) {
  int n = name_len < 0 ? 0 : name_len > 31 ? 31 : name_len;
  memcpy(last_name, name, (size_t)n);
  last_name[n] = '\0';
  last_info = *info;
  ++reports;
}

/* How many reports so far, and the last one. */
int ruf_py_reports(void) { return reports; }
const char *ruf_py_last_name(void) { return last_name; }
int ruf_py_last_info(void) { return last_info; }
