/*
 * Sends one request of every method in each of the three ways through the loopback, and
 * shows what was sent.
 *
 * Built with every_method.c: cc send_all.c every_method.c $(pkg-config --cflags --libs tarn_cli_mqc
 * tarn_loopback)
 *
 * usage: send_all [CAPTURE_DIR]     an existing directory that keeps the messages
 */
#include <stdio.h>

#include "every_method.h"
#include "tarn/loopback.h"

int main(int argc, char** argv) {
  if (argc > 2) {
    fprintf(stderr, "usage: send_all [CAPTURE_DIR]\n");
    return 2;
  }
  if (argc == 2 && TarnLoopback_setCaptureDir(argv[1]) != 0) return 1;
  return sendEveryMethod();
}
