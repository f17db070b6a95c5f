/* interface_c99.h - what interface_test.cpp runs of interface_c99.c. */
#ifndef INTERFACE_C99_H
#define INTERFACE_C99_H

#ifdef __cplusplus
extern "C" {
#endif

/* Uses a task of the fake library, calls the callback once and says how often it was called;
   negative when an operation failed. */
int callsseenfromc(void);

#ifdef __cplusplus
}
#endif

#endif
