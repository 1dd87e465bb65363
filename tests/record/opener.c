/* usage: opener WHAT OBJECT...
 * Makes calls (calls.c), which are in the last object; opens those before it for all to see. */
#include <dlfcn.h>
#include <stdio.h>

int main(int argc, char** argv) {
  void* last = NULL;
  for (int i = 2; i < argc; ++i) {
    last = dlopen(argv[i], RTLD_NOW | (i < argc - 1 ? RTLD_GLOBAL : RTLD_LOCAL));
    if (last == NULL) return fprintf(stderr, "%s\n", dlerror()), 2;
  }
  int (*makeCalls)(const char*) = NULL;
  if (last != NULL) *(void**)&makeCalls = dlsym(last, "makeCalls");
  return makeCalls != NULL ? makeCalls(argv[1]) : 2;
}
