/* A part of a program that makes calls: one; in two threads until it kills itself, which it counts
 * in a file; or in a parent and its child. */
#define _DEFAULT_SOURCE
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>
#include <sys/auxv.h>
#include <sys/wait.h>
#include <unistd.h>

#include "mqc_fes_intf.h"
#include "tarn/loopback.h"

static u32 call(u32 number) {
  MQC_RuleMac request = {0};
  request.f3 = (u8)number;
  return MqcFesIntf_sendRuleMac(&request, NULL);
}

static u32 returned;

static void* callForever(void* unused) {
  (void)unused;
  while (call(1) == 0) __atomic_fetch_add(&returned, 1, __ATOMIC_SEQ_CST);
  return NULL;
}

static int callUntilKilled(void) {
  for (int i = 0; i < 2; ++i) {
    pthread_t thread;
    if (pthread_create(&thread, NULL, callForever, NULL) != 0) return 1;
  }
  while (__atomic_load_n(&returned, __ATOMIC_SEQ_CST) < 1000) sched_yield();
  dprintf(STDOUT_FILENO, "%u\n", (unsigned)__atomic_load_n(&returned, __ATOMIC_SEQ_CST));
  return kill(getpid(), SIGKILL);
}

static int callInChild(void) {
  call(1);
  const pid_t child = fork();
  if (child == 0) {
    call(2);
    _exit(0);
  }
  int status = 1;
  waitpid(child, &status, 0);
  call(3);
  return status;
}

MQC_API int makeCalls(const char* what) {
  if (strcmp(what, "storm") == 0) return callUntilKilled();
  if (strcmp(what, "fork") == 0) return callInChild();
  if (strcmp(what, "secure") == 0) return getauxval(AT_SECURE) != 0 && call(1) == 0 ? 0 : 77;
  TarnLoopback_setStatus(9);
  return call(37) == 9 ? 0 : 1;
}

int main(int argc, char** argv) {
  return argc == 2 ? makeCalls(argv[1]) : 2;
}
