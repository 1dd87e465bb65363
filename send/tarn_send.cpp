// tarn-send: sends requests of MqcFesIntf from the shell.

#include "shared/report.h"

const char* const shared::reporter = "tarn-send";

int main() {
  shared::report("nothing to send");
  return 2;
}
