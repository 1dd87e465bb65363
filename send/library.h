#ifndef SEND_LIBRARY_H
#define SEND_LIBRARY_H

// The platform and the library, loaded by name when the program runs.

#include <string>
#include <vector>

#include "methods/methods.h"
#include "tarn/grpc.h"

namespace send {

/// The four exports of a method; req is its request record.
class Exports {
 public:
  u32 call(const void* req, void* opt) const { return types_->call(call_, req, opt); }
  u32 async(const void* req, RpcAsyncCallback cb, void* userData, void* opt) const {
    return types_->async(async_, req, cb, userData, opt);
  }
  u32 oneway(const void* req, void* opt) const { return types_->call(oneway_, req, opt); }
  void setIdl(IdlMsgDesc* desc) const { setIdl_(desc); }

 private:
  friend class Library;
  using Function = void (*)();
  /// Call a function that takes a request of the method's type.
  struct Types {
    u32 (*call)(Function function, const void* req, void* opt);
    u32 (*async)(Function function, const void* req, RpcAsyncCallback cb, void* userData,
                 void* opt);
  };
  template <class Record>
  static u32 callWith(Function function, const void* req, void* opt);
  template <class Record>
  static u32 asyncWith(Function function, const void* req, RpcAsyncCallback cb, void* userData,
                       void* opt);
  static const Types typesOf[];

  const Types* types_ = nullptr;
  Function call_ = nullptr;
  Function async_ = nullptr;
  Function oneway_ = nullptr;
  void (*setIdl_)(IdlMsgDesc* desc) = nullptr;
};

/// A channel's settings, as the command line has them; empty and false: as the environment, or the
/// platform's default.
struct Channel {
  std::string target, deadlineMs, ca, cert, key, serverName;
  bool full = false;
  bool stream = false;
};

/// Loaded once in a process, and never unloaded. Any thread may use it then.
class Library {
 public:
  /// Loads the platform, whose symbols the library needs, then the library. A name without a slash
  /// is looked for where this program's libraries are, built or installed, then by the loader.
  /// @return what failed, or nothing
  std::string load(const std::string& platform, const std::string& library);

  const Exports& of(const methods::Method& method) const;

  /// Sets a channel's settings in the environment, where calls whose opt is NULL find them, beside
  /// those that the environment has already. Before the first call.
  /// @return what is wrong, or nothing: only the delivery over gRPC has channels, and needs a
  /// target
  std::string set(const Channel& channel) const;

  /// The meaning of the status that the method's call has just returned on this thread, or that its
  /// callback has got, with the reason where the platform states one; one line.
  std::string meaning(const methods::Method& method, u32 status) const;

  /// Waits until the calls that do not wait have ended, at most so long, where the platform can.
  void drain(u32 ms) const;

  /// Whether a status states that the limit of calls in flight is reached: after drain() there is
  /// room again.
  bool isBusy(u32 status) const { return drain_ != nullptr && status == TARN_GRPC_BUSY; }

 private:
  std::vector<Exports> exports_;  // in the order of the roll call
  decltype(&TarnGrpc_open) open_ = nullptr;
  decltype(&TarnGrpc_drain) drain_ = nullptr;
  decltype(&TarnGrpc_statusText) statusText_ = nullptr;
  decltype(&TarnGrpc_lastError) lastError_ = nullptr;
};

}  // namespace send

#endif
