#include "methods/methods.h"

#include <algorithm>

#include "methods/describe.h"
#include "msg/messages.h"

namespace methods {

#define ROW(method, Type) {#method, &Described<Type>::table},
constexpr Method rows[] = {MQC_FES_INTF_METHODS(ROW, ROW)};
#undef ROW

constinit const std::span<const Method> all = rows;

const Method* find(std::string_view name) {
  const auto found = std::ranges::find(all, name, &Method::name);
  return found == all.end() ? nullptr : &*found;
}

}  // namespace methods
