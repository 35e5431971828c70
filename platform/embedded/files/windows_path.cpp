#include "platform/embedded/files/windows_path.h"

#include <algorithm>

#include "platform/embedded/core/casefold.h"
#include "platform/types.h"

namespace varnel::embedded {
namespace {

constexpr std::size_t kLongestPath = 259;
constexpr std::size_t kLongestVerbatimPath = 32766;
constexpr std::size_t kLongestName = 255;
constexpr std::uint32_t kErrorBadNetPath = 53;
constexpr std::u16string_view kVerbatim = u"\\\\?\\";
constexpr std::u16string_view kCurrentFolder[] = {u"Windows", u"System32"};

bool IsSeparator(char16_t unit) {
  return unit == u'\\' || unit == u'/';
}

bool IsLetter(char16_t unit) {
  return (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z');
}

bool HasDrive(std::u16string_view text) {
  return text.size() >= 2 && IsLetter(text[0]) && text[1] == u':';
}

bool IsDeviceName(std::u16string_view name) {
  std::u16string base = FoldUpper(name.substr(0, name.find(u'.')));
  while (!base.empty() && base.back() == u' ') base.pop_back();
  for (const std::u16string_view device : {u"CON", u"PRN", u"AUX", u"NUL", u"CONIN$", u"CONOUT$"}) {
    if (base == device) return true;
  }
  if (base.size() != 4 || (!base.starts_with(u"COM") && !base.starts_with(u"LPT"))) return false;
  constexpr std::u16string_view kNumbers = u"123456789\u00B9\u00B2\u00B3";
  return kNumbers.find(base[3]) != std::u16string_view::npos;
}

bool HasLoneSurrogate(std::u16string_view name) {
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (name[i] < 0xD800 || name[i] > 0xDFFF) continue;
    const bool pair = name[i] < 0xDC00 && i + 1 < name.size() && name[i + 1] >= 0xDC00 && name[i + 1] <= 0xDFFF;
    if (!pair) return true;
    ++i;
  }
  return false;
}

bool IsDots(std::u16string_view name) {
  return name == u"." || name == u"..";
}

/// One name between separators, or the last one, as the platform trims it.
std::u16string_view Trim(std::u16string_view name, bool last) {
  if (last) {
    while (!name.empty() && (name.back() == u'.' || name.back() == u' ')) name.remove_suffix(1);
  } else if (name.size() > 1 && name.back() == u'.' && name[name.size() - 2] != u'.') {
    name.remove_suffix(1);
  }
  return name;
}

/// Adds the names of what stands behind the drive.
void AddNames(std::u16string_view rest, WindowsPath* path) {
  while (!rest.empty()) {
    const auto end = std::find_if(rest.begin(), rest.end(),
                                  [&](char16_t unit) { return path->verbatim ? unit == u'\\' : IsSeparator(unit); });
    const bool last = end == rest.end();
    std::u16string_view name(rest.data(), static_cast<std::size_t>(end - rest.begin()));
    rest.remove_prefix(name.size() + (last ? 0 : 1));
    if (!path->verbatim && IsDots(name)) {
      if (name == u".." && !path->names.empty()) path->names.pop_back();
      path->ends_in_separator = true;
      continue;
    }
    if (!path->verbatim) name = Trim(name, last);
    path->ends_in_separator = !last || name.empty();
    if (!name.empty()) path->names.emplace_back(name);
  }
}

std::uint32_t Judge(const WindowsPath& path) {
  for (const std::u16string& name : path.names) {
    if (!IsFileName(name)) return platform::kErrorInvalidName;
  }
  const std::size_t longest = path.verbatim ? kLongestVerbatimPath : kLongestPath;
  return path.Text().size() > longest ? platform::kErrorPathNotFound : platform::kErrorSuccess;
}

/// Pattern marks of the platform's file systems, into which the two that a caller writes are translated.
constexpr char16_t kDotOrEnd = u'"';     // a dot, or nothing at the end of the name
constexpr char16_t kOneOrEnd = u'>';     // one character, or nothing before a dot and at the end
constexpr char16_t kUpToLastDot = u'<';  // anything up to the last dot

std::u16string Translate(std::u16string_view pattern) {
  if (pattern == u"*.*") return u"*";
  std::u16string out;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const bool before_mark = i + 1 < pattern.size() && (pattern[i + 1] == u'?' || pattern[i + 1] == u'*');
    if (pattern[i] == u'?') {
      out += kOneOrEnd;
    } else if (pattern[i] == u'.' && i + 1 == pattern.size() && i > 0 && pattern[i - 1] == u'*') {
      out.back() = kUpToLastDot;
    } else if (pattern[i] == u'.' && before_mark) {
      out += kDotOrEnd;
    } else {
      out += pattern[i];
    }
  }
  return FoldUpper(out);
}

}  // namespace

std::u16string WindowsPath::Text() const {
  std::u16string text{drive, u':'};
  for (const std::u16string& name : names) (text += u'\\') += name;
  if (names.empty()) text += u'\\';
  return text;
}

std::uint32_t ParseWindowsPath(std::u16string_view text, WindowsPath* path) {
  *path = WindowsPath();
  if (text.empty()) return platform::kErrorPathNotFound;
  if (text.starts_with(kVerbatim)) {
    path->verbatim = true;
    text.remove_prefix(kVerbatim.size());
    if (!HasDrive(text) || text.size() < 3 || text[2] != u'\\') return platform::kErrorPathNotFound;
  } else if (text.size() >= 2 && IsSeparator(text[0]) && IsSeparator(text[1])) {
    const bool device = text.size() >= 4 && (text[2] == u'.' || text[2] == u'?') && IsSeparator(text[3]);
    return device ? platform::kErrorFileNotFound : kErrorBadNetPath;
  }
  const bool drive = HasDrive(text);
  if (drive) {
    path->drive = FoldUpper(text[0]);
    text.remove_prefix(2);
  }
  const bool rooted = !text.empty() && IsSeparator(text[0]);
  if (!rooted && path->drive == u'C') path->names.assign(std::begin(kCurrentFolder), std::end(kCurrentFolder));
  path->ends_in_separator = rooted && text.size() == 1;
  AddNames(text, path);
  return Judge(*path);
}

bool IsFileName(std::u16string_view name) {
  if (name.empty() || name.size() > kLongestName || name.back() == u'.' || name.back() == u' ') return false;
  for (const char16_t unit : name) {
    if (unit < 0x20 || std::u16string_view(u"<>:\"/\\|?*").find(unit) != std::u16string_view::npos) return false;
  }
  return !IsDeviceName(name) && !HasLoneSurrogate(name);
}

bool MatchesPattern(std::u16string_view name, std::u16string_view pattern) {
  const std::u16string marks = Translate(pattern);
  const std::u16string folded = FoldUpper(name);
  const std::size_t size = folded.size();
  const std::size_t last_dot = folded.rfind(u'.');
  // reached[i]: the marks so far can have taken the first i characters.
  std::vector<char> reached(size + 1, 0);
  reached[0] = 1;
  for (const char16_t mark : marks) {
    std::vector<char> next(size + 1, 0);
    for (std::size_t i = 0; i <= size; ++i) {
      if (!reached[i]) continue;
      if (mark == u'*') {
        std::fill(next.begin() + static_cast<std::ptrdiff_t>(i), next.end(), char{1});
      } else if (mark == kUpToLastDot) {
        const std::size_t end = last_dot == std::u16string::npos || i > last_dot ? size : last_dot;
        std::fill(next.begin() + static_cast<std::ptrdiff_t>(i), next.begin() + static_cast<std::ptrdiff_t>(end) + 1,
                  char{1});
      } else if (i == size) {
        if (mark == kDotOrEnd || mark == kOneOrEnd) next[i] = 1;
      } else if (mark == kOneOrEnd && folded[i] == u'.') {
        next[i] = 1;
      } else if (mark == kOneOrEnd || mark == folded[i] || (mark == kDotOrEnd && folded[i] == u'.')) {
        next[i + 1] = 1;
      }
    }
    reached = std::move(next);
  }
  return reached[size] != 0;
}

}  // namespace varnel::embedded
