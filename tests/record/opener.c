/* usage: opener global|local WHAT OBJECT...
 * Makes calls (calls.c), which are in the last object; opens those before it for all to see or for
 * itself, and closes them before it makes the calls again. WHAT is alone: the last object is the
 * recorder, which nothing stands behind. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "tarn/status.h"

static int callAlone(void* recorder) {
  unsigned (*send)(void*, const void*, const void*, const void*) = NULL;
  *(void**)&send = dlsym(recorder, "RPC_IdlMsgOnewayCall");
  for (int i = 0; i < 3; ++i) {
    if (send == NULL || send(NULL, NULL, NULL, NULL) != TARN_STATUS_INVALID) return 1;
  }
  return 0;
}

int main(int argc, char** argv) {
  void* opened[8] = {NULL};
  if (argc < 4 || argc > 8) return 2;
  const char* const error = dlerror(); /* that a library has left */
  if (error != NULL) return fprintf(stderr, "%s\n", error), 2;
  const int visibility = strcmp(argv[1], "global") == 0 ? RTLD_GLOBAL : RTLD_LOCAL;
  for (int i = 3; i < argc; ++i) {
    opened[i - 3] = dlopen(argv[i], RTLD_NOW | (i < argc - 1 ? visibility : RTLD_LOCAL));
    if (opened[i - 3] == NULL) return fprintf(stderr, "%s\n", dlerror()), 2;
  }
  void* const last = opened[argc - 4];
  if (strcmp(argv[2], "alone") == 0) return callAlone(last);
  int (*makeCalls)(const char*) = NULL;
  *(void**)&makeCalls = dlsym(last, "makeCalls");
  int status = makeCalls != NULL ? makeCalls(argv[2]) : 2;
  for (int i = 0; i < argc - 4; ++i) {
    dlclose(opened[i]);
    status = makeCalls(argv[2]);
  }
  return status;
}
