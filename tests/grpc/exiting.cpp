// Hands messages over and ends at once. A callback that runs writes a byte to the file RAN. The
// process FROZEN is continued when the platform is done with the exit.
// usage: exiting return|callback|fork RAN [FROZEN]
//
// Or ends while calls fail for lack of a service: in an exit handler, or in a callback while other
// threads call. usage: exiting handler|failing

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "tarn/grpc.h"

// Looking for leaks, LSan waits in the child for a lock that a thread held which the child has not.
extern "C" int __lsan_is_turned_off() {
  return 1;
}

namespace {

constexpr MQC_ClassifierTemplate request{};

int ran;
pid_t frozen = 0;

void record(u32, void*) {
  if (write(ran, "+", 1) != 1) _exit(1);
}

void send(int pairs) {
  for (int i = 0; i < pairs; ++i) {
    if (MqcFesIntf_sendClassifierTemplate_oneway(&request, nullptr) != 0) _exit(2);
    if (MqcFesIntf_sendClassifierTemplate_async(&request, record, nullptr, nullptr) != 0) _exit(2);
  }
}

void sendAndExit(u32 status, void*) {
  send(1);
  exit(static_cast<int>(status));
}

constexpr u32 unavailable = 1014;

void failOnce() {
  if (MqcFesIntf_sendClassifierTemplate(&request, nullptr) != unavailable) _exit(7);
  if (TarnGrpc_lastError()[0] == '\0') _exit(8);
}

int endWhileCallsFail(bool inHandler) {
  if (inHandler) {
    atexit(failOnce);
    failOnce();
    return 0;
  }
  const auto end = [](u32, void*) { exit(0); };
  for (int i = 0; i < 20; ++i) {
    if (MqcFesIntf_sendClassifierTemplate_async(&request, end, nullptr, nullptr) != 0) return 2;
  }
  sleep(60);
  return 4;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string way = argv[1];
  if (argc == 2) return endWhileCallsFail(way == "handler");
  ran = open(argv[2], O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (argc > 3) {
    frozen = atoi(argv[3]);
    atexit([] {
      kill(frozen, SIGCONT);
      MqcFesIntf_sendClassifierTemplate(&request, nullptr);  // has an answer as those before
    });
  }
  if (way == "callback") {
    if (MqcFesIntf_sendClassifierTemplate_async(&request, sendAndExit, nullptr, nullptr)) return 3;
    sleep(60);
    return 4;
  }
  send(10);
  const pid_t child = way == "fork" ? fork() : 0;
  int ended = 0;
  if (child > 0 && waitpid(child, &ended, 0) != child) return 5;
  return ended == 0 ? 0 : 6;
}
