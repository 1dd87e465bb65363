#include "send/library.h"

#include <dlfcn.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "tarn/status.h"

namespace send {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view pathStart = "/MqcFesIntf/";  // of a method at the service

/// Where a library lies that is installed, or built, together with this program.
std::string placeOf(const std::string& name) {
  if (name.find('/') != std::string::npos) return name;
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  const fs::path near = program.parent_path() / TARN_LIBRARIES_FROM_PROGRAM / name;
  return fs::exists(near, error) ? near.lexically_normal().string() : name;
}

template <class Function>
bool find(void* library, const std::string& name, Function& function) {
  function = reinterpret_cast<Function>(::dlsym(library, name.c_str()));
  return function != nullptr;
}

/// The loader's words name the file.
std::string loaderError(const char* what) {
  const char* const words = ::dlerror();
  return std::string(what) + ": " + (words == nullptr ? "cannot be loaded" : words);
}

std::string lacks(const std::string& library, const std::string& name) {
  return library + ": it lacks " + name;
}

/// The library does not load without them either, but its loader names only one.
std::string findCalls(void* platform, const std::string& name) {
  for (const char* const needed :
       {"RPC_GetRpcInvoke", "RPC_IdlSyncCallNoOutStub", "RPC_IdlAsyncCallNoOutStub",
        "RPC_IdlMsgOnewayCall", "memset_s", "memcpy_s"}) {
    if (::dlsym(platform, needed) == nullptr) return lacks("platform " + name, needed);
  }
  return "";
}

const char* textOf(u32 status) {
  switch (status) {
    case TARN_STATUS_OK:
      return "success";
    case TARN_STATUS_CAPTURE:
      return "the capture directory cannot be written";
    case TARN_STATUS_NO_RESOURCES:
      return "no memory, or no thread for completions";
    case TARN_STATUS_INVALID:
      return "no handle, no request, or another argument is missing";
    case TARN_STATUS_DEADLOCK:
      return "the wait for completions would never end";
    case TARN_STATUS_ENCODING:
      return "an encoder broke its contract";
    default:
      return nullptr;
  }
}

/// What a thread's last error adds to a status's text. It may be that of an earlier call, since a
/// service's own status leaves none.
std::string reasonIn(std::string_view last, const methods::Method& method, const std::string& text,
                     u32 status) {
  if (last.starts_with(pathStart)) last.remove_prefix(pathStart.size());
  const std::string_view who = last.substr(0, last.find(": "));
  const bool isSetUp = methods::find(who) == nullptr;
  if (isSetUp) return status == TARN_STATUS_INVALID ? std::string(last) : "";
  const std::string known = std::string(method.name) + ": " + text + ": ";
  return last.starts_with(known) ? std::string(last.substr(known.size())) : "";
}

}  // namespace

template <class Record>
u32 Exports::callWith(Function function, const void* req, void* opt) {
  using Call = u32 (*)(const Record*, void*);
  return reinterpret_cast<Call>(function)(static_cast<const Record*>(req), opt);
}

template <class Record>
u32 Exports::asyncWith(Function function, const void* req, RpcAsyncCallback cb, void* userData,
                       void* opt) {
  using Call = u32 (*)(const Record*, RpcAsyncCallback, void*, void*);
  return reinterpret_cast<Call>(function)(static_cast<const Record*>(req), cb, userData, opt);
}

#define ROW(method, Record) {callWith<Record>, asyncWith<Record>},
const Exports::Types Exports::typesOf[] = {MQC_FES_INTF_METHODS(ROW, ROW)};
#undef ROW

std::string Library::load(const std::string& platform, const std::string& library) {
  void* const calls = ::dlopen(placeOf(platform).c_str(), RTLD_NOW | RTLD_GLOBAL);
  if (calls == nullptr) return loaderError("platform");
  std::string fault = findCalls(calls, platform);
  if (!fault.empty()) return fault;
  find(calls, "TarnGrpc_open", open_);
  find(calls, "TarnGrpc_drain", drain_);
  find(calls, "TarnGrpc_statusText", statusText_);
  find(calls, "TarnGrpc_lastError", lastError_);

  void* const loaded = ::dlopen(placeOf(library).c_str(), RTLD_NOW);
  if (loaded == nullptr) return loaderError("library");
  for (const methods::Method& method : methods::all) {
    Exports& found = exports_.emplace_back();
    found.types_ = &Exports::typesOf[exports_.size() - 1];
    const std::string name = std::string("MqcFesIntf_") + method.name;
    const bool isWhole = find(loaded, name, found.call_) &&
                         find(loaded, name + "_async", found.async_) &&
                         find(loaded, name + "_oneway", found.oneway_) &&
                         find(loaded, name + "SetIdl", found.setIdl_);
    if (!isWhole) return lacks("library " + library, name + " or one of its variants");
  }
  return "";
}

const Exports& Library::of(const methods::Method& method) const {
  return exports_[static_cast<std::size_t>(&method - methods::all.data())];
}

std::string Library::set(const Channel& channel) const {
  struct Setting {
    const char* option;
    const char* variable;
    std::string value;
  };
  const std::array<Setting, 8> settings = {
      {{"--to", "TARN_GRPC_TARGET", channel.target},
       {"--deadline", "TARN_GRPC_DEADLINE_MS", channel.deadlineMs},
       {"--ca", "TARN_GRPC_CA", channel.ca},
       {"--cert", "TARN_GRPC_CERT", channel.cert},
       {"--key", "TARN_GRPC_KEY", channel.key},
       {"--server-name", "TARN_GRPC_SERVER_NAME", channel.serverName},
       {"--full", "TARN_GRPC_FULL", channel.full ? "1" : ""},
       {"--stream", "TARN_GRPC_STREAM", channel.stream ? "1" : ""}}};
  for (const auto& [option, variable, value] : settings) {
    if (value.empty()) continue;
    if (open_ == nullptr) {
      return std::string(option) + " needs a platform that has TarnGrpc_open";
    }
    ::setenv(variable, value.c_str(), 1);
  }
  if (open_ != nullptr && std::getenv("TARN_GRPC_TARGET") == nullptr) {
    return "no service to call; use --to TARGET";
  }
  return "";
}

std::string Library::meaning(const methods::Method& method, u32 status) const {
  if (statusText_ == nullptr) {
    const char* const text = textOf(status);
    return text != nullptr ? text : "status " + std::to_string(status) + " of the platform";
  }
  const std::string text = statusText_(status);
  const std::string reason =
      lastError_ == nullptr ? "" : reasonIn(lastError_(), method, text, status);
  return reason.empty() ? text : text + ": " + reason;
}

void Library::drain(u32 ms) const {
  if (drain_ != nullptr) drain_(ms);
}

}  // namespace send
