/* usage: caller WHAT FILE
 * Makes calls (calls.c), which are linked. */
int makeCalls(const char* what, const char* file);

int main(int argc, char** argv) {
  return argc == 3 ? makeCalls(argv[1], argv[2]) : 2;
}
