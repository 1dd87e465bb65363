#ifndef PLATFORM_GRPC_LOG_H
#define PLATFORM_GRPC_LOG_H

#include <string>
#include <string_view>

namespace delivery {

/// Takes over gRPC's log in this process: its errors are reported, a repeated one once.
void takeLog();

/// While it lives, keeps what gRPC logs on this thread instead.
class LogOfThread {
 public:
  LogOfThread();
  LogOfThread(const LogOfThread&) = delete;
  LogOfThread& operator=(const LogOfThread&) = delete;
  ~LogOfThread();

  /// ": " and the first error that gRPC logged; empty when there is none.
  std::string reason() const { return *first_ == '\0' ? "" : std::string(": ") + first_; }
  void add(std::string_view message) noexcept;

 private:
  char first_[512] = "";
};

}  // namespace delivery

#endif
