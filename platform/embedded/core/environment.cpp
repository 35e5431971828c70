#include "platform/embedded/core/environment.h"

#include "platform/embedded/core/casefold.h"

namespace varnel::embedded {
namespace {

struct Variable {
  std::u16string_view name;
  std::u16string_view value;
};

constexpr Variable kDefaults[] = {
    {u"SystemDrive", u"C:"},
    {u"SystemRoot", u"C:\\Windows"},
    {u"windir", u"C:\\Windows"},
    {u"TEMP", u"C:\\Windows\\Temp"},
    {u"TMP", u"C:\\Windows\\Temp"},
    {u"ProgramData", u"C:\\ProgramData"},
    {u"ALLUSERSPROFILE", u"C:\\ProgramData"},
    {u"ProgramFiles", u"C:\\Program Files"},
    {u"ProgramW6432", u"C:\\Program Files"},
    {u"ProgramFiles(x86)", u"C:\\Program Files (x86)"},
    {u"CommonProgramFiles", u"C:\\Program Files\\Common Files"},
    {u"PUBLIC", u"C:\\Users\\Public"},
    {u"USERPROFILE", u"C:\\Windows\\System32\\config\\systemprofile"},
    {u"USERNAME", u"SYSTEM"},
    {u"COMPUTERNAME", u"MACHINE"},
    {u"ComSpec", u"C:\\Windows\\System32\\cmd.exe"},
    {u"Path", u"C:\\Windows\\System32;C:\\Windows"},
    {u"PATHEXT", u".COM;.EXE;.BAT;.CMD"},
    {u"OS", u"Windows_NT"},
    {u"PROCESSOR_ARCHITECTURE", u"AMD64"},
};

}  // namespace

Environment::Environment() {
  for (const Variable& variable : kDefaults) values_.emplace(FoldUpper(variable.name), variable.value);
}

std::optional<std::u16string> Environment::Get(std::u16string_view name) const {
  std::lock_guard lock(mutex_);
  const auto found = values_.find(FoldUpper(name));
  if (found == values_.end()) return std::nullopt;
  return found->second;
}

void Environment::Set(std::u16string_view name, std::u16string_view value) {
  std::lock_guard lock(mutex_);
  values_.insert_or_assign(FoldUpper(name), std::u16string(value));
}

bool Environment::Remove(std::u16string_view name) {
  std::lock_guard lock(mutex_);
  return values_.erase(FoldUpper(name)) != 0;
}

std::u16string Environment::Expand(std::u16string_view text) const {
  std::u16string out;
  while (!text.empty()) {
    const std::size_t open = text.find(u'%');
    out += text.substr(0, open);
    if (open == std::u16string_view::npos) break;
    text.remove_prefix(open);
    const std::size_t close = text.find(u'%', 1);
    if (close == std::u16string_view::npos) return out += text;
    if (const auto value = Get(text.substr(1, close - 1))) {
      out += *value;
      text.remove_prefix(close + 1);
    } else {
      // The closing mark may open the next name.
      out += text.substr(0, close);
      text.remove_prefix(close);
    }
  }
  return out;
}

std::u16string TempFolder(const Environment& environment) {
  for (const std::u16string_view name : {u"TMP", u"TEMP", u"USERPROFILE", u"SystemRoot"}) {
    auto value = environment.Get(name);
    if (!value || value->empty()) continue;
    if (value->back() != u'\\') value->push_back(u'\\');
    return *value;
  }
  return u"C:\\Windows\\";
}

}  // namespace varnel::embedded
