#include "platform/vbscript/builtins.h"

#include <string>
#include <unordered_map>

#include "contracts/text.h"

namespace korad::vbscript {
namespace {

using BuiltinMap = std::unordered_map<std::string, const Builtin*, NoCaseHash, NoCaseEqual>;

BuiltinMap MakeMap() {
  BuiltinMap map;
  for (auto table : {DateBuiltins(), StringBuiltins(), ValueBuiltins()}) {
    for (const Builtin& builtin : table) map.emplace(std::string(builtin.name), &builtin);
  }
  return map;
}

}  // namespace

const Builtin* FindBuiltin(std::string_view name) {
  static const BuiltinMap map = MakeMap();
  const auto it = map.find(name);
  return it == map.end() ? nullptr : it->second;
}

bool AnyNull(Arguments args) {
  for (const Value& arg : args) {
    if (arg.IsNull()) return true;
  }
  return false;
}

}  // namespace korad::vbscript
