/* interface_c99.c - vorlan.h as a C99 program sees it: it compiles, its types have their sizes, its
   operations can be called. Compiled with all extensions refused; interface_test.cpp runs it. */
#include "interface_c99.h"

#include <vorlan.h>

/* C99 has no static assertion: an array of negative size is refused. */
typedef char rescode_has_32_bits[sizeof(VLNrescode_enum) == 4 ? 1 : -1];
typedef char rescode_is_signed[(VLNrescode_enum)-1 < 0 ? 1 : -1];
typedef char callbackcode_has_32_bits[sizeof(VLNcallbackcode_enum) == 4 ? 1 : -1];
typedef char problem_size_is_8008[VLN_RES_ERR_SERVER_PROBLEM_SIZE == 8008 ? 1 : -1];

static int count_calls(vlntaskt* task, void* handle, VLNcallbackcode_enum code,
                       const double* douinf, const int* intinf, const long* lintinf) {
  (void)task;
  (void)code;
  (void)douinf;
  (void)intinf;
  (void)lintinf;
  ++*(int*)handle;
  return 0;
}

int callsseenfromc(void) {
  rescode_has_32_bits a = {0};
  rescode_is_signed b = {0};
  callbackcode_has_32_bits c = {0};
  problem_size_is_8008 d = {0};
  vlncallbackfunc const callback = count_calls;
  vlntaskt* task = 0;
  int32_t numvar = -1;
  int calls = a[0] + b[0] + c[0] + d[0];
  if (VLN_makeemptytask(0, &task) != VLN_RES_OK) return -1;
  if (VLN_putcallbackfunc(task, callback, &calls) != VLN_RES_OK) return -2;
  if (VLN_getnumvar(task, &numvar) != VLN_RES_OK) return -3;
  callback(task, &calls, 0, 0, 0, 0);
  if (VLN_deletetask(&task) != VLN_RES_OK || task != 0) return -4;
  return numvar == 0 ? calls : -5;
}
