#ifndef BENCH_SERVICE_H
#define BENCH_SERVICE_H

/// Answers every call, of its own or of a stream, with 0, until the process is killed.
int serve(const char* target);

#endif
