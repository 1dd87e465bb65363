/* A part of a program that makes calls: one; in two threads until it kills itself, which it counts
 * in a file; or in a parent and its child. */
#define _DEFAULT_SOURCE
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <stddef.h>
#include <string.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "mqc_fes_intf.h"
#include "tarn/loopback.h"

static u32 call(u32 number) {
  MQC_RuleMac request = {0};
  request.f3 = (u8)number;
  return MqcFesIntf_sendRuleMac(&request, NULL);
}

static u64* returned;

static void* callForever(void* unused) {
  (void)unused;
  while (call(1) == 0) __atomic_fetch_add(returned, 1, __ATOMIC_SEQ_CST);
  return NULL;
}

static int callUntilKilled(const char* file) {
  const int counts = open(file, O_RDWR | O_CREAT, 0600);
  if (counts < 0 || ftruncate(counts, sizeof(u64)) != 0) return 1;
  void* shared = mmap(NULL, sizeof(u64), PROT_READ | PROT_WRITE, MAP_SHARED, counts, 0);
  if (shared == MAP_FAILED) return 1;
  returned = shared;
  for (int i = 0; i < 2; ++i) {
    pthread_t thread;
    if (pthread_create(&thread, NULL, callForever, NULL) != 0) return 1;
  }
  while (__atomic_load_n(returned, __ATOMIC_SEQ_CST) < 1000) sched_yield();
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

MQC_API int makeCalls(const char* what, const char* file) {
  if (strcmp(what, "storm") == 0) return callUntilKilled(file);
  if (strcmp(what, "fork") == 0) return callInChild();
  if (strcmp(what, "secure") == 0) return getauxval(AT_SECURE) != 0 && call(1) == 0 ? 0 : 77;
  TarnLoopback_setStatus(9);
  return call(37) == 9 ? 0 : 1;
}

int main(int argc, char** argv) {
  return argc == 3 ? makeCalls(argv[1], argv[2]) : 2;
}
