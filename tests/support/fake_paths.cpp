#include "tests/support/fake_paths.h"

#include <vector>

#include "tests/support/names.h"

namespace varnel::testing {
namespace {

std::u16string_view WithoutTail(std::u16string_view name) {
  while (!name.empty() && (name.back() == u'.' || name.back() == u' ')) name.remove_suffix(1);
  return name;
}

bool Fits(std::u16string_view pattern, std::u16string_view name) {
  if (pattern.empty()) return name.empty();
  if (pattern[0] == u'*') {
    return Fits(pattern.substr(1), name) || (!name.empty() && Fits(pattern, name.substr(1)));
  }
  return !name.empty() && (pattern[0] == u'?' || pattern[0] == name[0]) && Fits(pattern.substr(1), name.substr(1));
}

}  // namespace

std::u16string NormalizedPath(std::u16string_view path, bool pattern) {
  std::vector<std::u16string_view> names;
  const bool rooted = !path.empty() && (path[0] == u'\\' || path[0] == u'/');
  while (!path.empty()) {
    const std::size_t end = path.find_first_of(u"\\/");
    const std::u16string_view name = path.substr(0, end);
    path = end == std::u16string_view::npos ? std::u16string_view() : path.substr(end + 1);
    if (name == u"..") {
      if (names.size() > 1) names.pop_back();
    } else if (pattern && path.empty()) {
      names.push_back(name);
    } else if (!WithoutTail(name).empty()) {
      names.push_back(WithoutTail(name));
    }
  }
  std::u16string out(rooted ? u"\\" : u"");
  for (const std::u16string_view name : names) {
    if (!out.empty() && out.back() != u'\\') out.push_back(u'\\');
    out += name;
  }
  return out;
}

std::u16string PathKey(std::u16string_view path) {
  return Folded(NormalizedPath(path));
}

std::u16string FolderOfPath(std::u16string_view normalized) {
  const std::size_t last = normalized.rfind(u'\\');
  if (last == 0 && normalized.size() > 1) return u"\\";
  return std::u16string(last == std::u16string_view::npos ? std::u16string_view() : normalized.substr(0, last));
}

std::u16string NameOfPath(std::u16string_view normalized) {
  const std::size_t last = normalized.rfind(u'\\');
  return std::u16string(last == std::u16string_view::npos ? normalized : normalized.substr(last + 1));
}

bool HasForbiddenCharacter(std::u16string_view path) {
  return path.find_first_of(u"*?<>|\"") != std::u16string_view::npos;
}

bool MatchesPattern(std::u16string_view pattern, std::u16string_view name) {
  return pattern == u"*.*" || Fits(pattern, name);
}

}  // namespace varnel::testing
