#include "formats/event_text_scanner.h"

#include <algorithm>
#include <charconv>

#include "formats/iso_time.h"
#include "formats/manifest_xml.h"

namespace varnel::formats {
namespace {

constexpr std::size_t kFillBytes = 256u << 10;
constexpr std::string_view kStart = "<Event";
constexpr std::string_view kEnd = "</Event";
constexpr std::string_view kNamespaceEnd = "/events/event";
constexpr std::size_t kMaxTagBytes = 4096;

/// A tag's name ends with one of these.
bool EndsName(char c) {
  return c == '>' || c == '/' || c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool IsTag(std::string_view text, std::string_view name) {
  return text.size() > name.size() && text.starts_with(name) && EndsName(text[name.size()]);
}

/// A start tag that names the vocabulary of events, or that <System> follows: never one of an event's own data.
bool IsOutermost(std::string_view tag, std::string_view behind) {
  if (tag.find(kNamespaceEnd) != std::string_view::npos) return true;
  return IsTag(behind.substr(std::min(behind.find_first_not_of(" \t\r\n"), behind.size())), "<System");
}

/// The text behind `<name…>` up to the next tag.
std::string_view TextBehindTag(std::string_view event, std::string_view tag) {
  const std::size_t start = event.find(tag);
  if (start == std::string_view::npos) return {};
  const std::size_t begin = start + tag.size();
  return event.substr(begin, event.find('<', begin) - begin);
}

}  // namespace

EventTextScanner::EventTextScanner(ReadTextAt read, std::uint64_t begin, std::uint64_t end)
    : read_(std::move(read)), end_(end), window_offset_(begin) {}

/// Drops what is behind us and reads on.
bool EventTextScanner::Fill() {
  if (at_end_) return false;
  window_.erase(0, at_);
  window_offset_ += at_;
  at_ = 0;
  const std::size_t had = window_.size();
  window_.resize(had + kFillBytes);
  const std::size_t got = read_(window_offset_ + had, std::span(window_).subspan(had));
  window_.resize(had + got);
  at_end_ = got < kFillBytes;
  return got != 0;
}

/// Moves to the next start tag. Its "<" stands at at_ then, with the character behind the name in the window.
bool EventTextScanner::FindStart() {
  for (;;) {
    const std::size_t start = window_.find(kStart, at_);
    if (start != std::string::npos && start + kStart.size() < window_.size()) {
      at_ = start;
      if (EndsName(window_[start + kStart.size()])) return window_offset_ + at_ < end_;
      ++at_;
      continue;
    }
    // A tag can be cut by the window's end.
    const std::size_t keep = start != std::string::npos ? window_.size() - start : kStart.size() - 1;
    at_ = std::max(at_, window_.size() - std::min(keep, window_.size()));
    if (window_offset_ + at_ >= end_ || !Fill()) return false;
  }
}

/// Behind a comment or a CDATA section that starts at `at`, in both of which tags are text; npos when it does not end
/// here. `at` itself when there is neither.
std::size_t EventTextScanner::PassMarkup(std::size_t at) const {
  const std::string_view text = std::string_view(window_).substr(at);
  const std::string_view end = text.starts_with("<!--")        ? std::string_view("-->")
                               : text.starts_with("<![CDATA[") ? std::string_view("]]>")
                                                               : std::string_view();
  if (end.empty()) return at;
  const std::size_t found = window_.find(end, at);
  return found == std::string::npos ? found : found + end.size();
}

/// Looks on for the end of the event at at_.
EventTextScanner::Scan EventTextScanner::FindEnd(std::size_t* length) {
  std::size_t at = at_ + scanned_;
  for (;;) {
    at = std::min(window_.find('<', at), window_.size());
    if (at == window_.size() || (!at_end_ && window_.size() - at < kMaxTagBytes)) break;
    const std::size_t behind = PassMarkup(at);
    if (behind == std::string::npos) break;
    if (behind != at) {
      at = behind;
      continue;
    }
    const std::string_view text = std::string_view(window_).substr(at);
    const bool ends = IsTag(text, kEnd);
    if (!ends && !IsTag(text, kStart)) {
      ++at;
      continue;
    }
    // A tag that another one begins in was cut.
    std::size_t close = text.substr(0, kMaxTagBytes).find_first_of("<>", 1);
    if (close != std::string_view::npos && text[close] == '<') close = std::string_view::npos;
    const std::size_t tag_length = close == std::string_view::npos ? kStart.size() : close + 1;
    const bool outermost = !ends && IsOutermost(text.substr(0, tag_length), text.substr(tag_length));
    if (close == std::string_view::npos || (outermost && at != at_)) {
      at_ = close == std::string_view::npos ? at + 1 : at;
      return Scan::kCut;
    }
    if (Nests(text.substr(0, tag_length), ends) == 0) {
      *length = at + tag_length - at_;
      return Scan::kWhole;
    }
    at += tag_length;
  }
  scanned_ = at - at_;
  return Scan::kNeedsMore;
}

/// Depth counts elements of the same name in an event's data. @return what is open behind the tag.
std::size_t EventTextScanner::Nests(std::string_view tag, bool ends) {
  const bool empty = !ends && tag[tag.size() - 2] == '/';
  if (!ends && !empty) ++depth_;
  if (ends) --depth_;
  return depth_;
}

bool EventTextScanner::Next(Found* found) {
  while (FindStart()) {
    scanned_ = 0;
    depth_ = 0;
    std::size_t length = 0;
    Scan scan = FindEnd(&length);
    while (scan == Scan::kNeedsMore && window_.size() - at_ <= kMaxEventBytes && Fill()) scan = FindEnd(&length);
    if (scan == Scan::kWhole) {
      *found = {window_offset_ + at_, std::string_view(window_).substr(at_, length)};
      at_ += length;
      return true;
    }
    // What has no end within reach is passed over whole, so that no byte is looked at again and again.
    if (scan == Scan::kNeedsMore) at_ = window_.size();
    ++skipped_;
  }
  return false;
}

bool RecordIdOfText(std::string_view event, std::uint64_t* record_id) {
  const std::string_view text = TrimBlanks(TextBehindTag(event, "<EventRecordID>"));
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *record_id);
  return !text.empty() && error == std::errc{} && end == text.data() + text.size();
}

std::uint64_t TimeOfText(std::string_view event) {
  constexpr std::string_view kName = "SystemTime=";
  const std::size_t start = event.find(kName);
  if (start == std::string_view::npos || start + kName.size() >= event.size()) return 0;
  const std::size_t begin = start + kName.size() + 1;
  const std::size_t end = event.find(event[begin - 1], begin);
  return end == std::string_view::npos ? 0 : ParseIsoTime(event.substr(begin, end - begin)).value_or(0);
}

}  // namespace varnel::formats
