#include "platform/embedded/eventlog/log_text.h"

#include <fcntl.h>
#include <iconv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "formats/text_encoding.h"
#include "formats/xml_encoding.h"

namespace varnel::embedded {
namespace {

constexpr std::size_t kPieceBytes = 256u << 10;
constexpr std::size_t kBeginBytes = 256;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

std::size_t ReadFully(int fd, std::uint64_t offset, std::span<char> into) {
  std::size_t got = 0;
  while (got < into.size()) {
    const ssize_t part = ::pread(fd, into.data() + got, into.size() - got, static_cast<off_t>(offset + got));
    if (part < 0 && errno == EINTR) continue;
    if (part <= 0) break;
    got += static_cast<std::size_t>(part);
  }
  return got;
}

bool WriteFully(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t put = ::write(fd, bytes.data(), bytes.size());
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(put));
  }
  return true;
}

/// A file that nobody else can open and that goes with its descriptor.
UniqueFd NamelessFile() {
  const char* folder = std::getenv("TMPDIR");
  if (folder == nullptr || *folder == '\0') folder = "/tmp";
  UniqueFd fd(::open(folder, O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
  if (fd.valid()) return fd;
  // Not every file system can do that.
  std::string name = std::string(folder) + "/varnel-log-XXXXXX";
  fd = UniqueFd(::mkostemp(name.data(), O_CLOEXEC));
  if (fd.valid()) ::unlink(name.c_str());
  return fd;
}

/// Converts piece by piece; a character may be cut between two of them.
class Converter {
 public:
  explicit Converter(const std::string& from)
      : conversion_(::iconv_open("UTF-8", from.c_str())), step_(from.starts_with("UTF-16") ? 2 : 1) {}
  ~Converter() {
    if (known()) ::iconv_close(conversion_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool known() const { return conversion_ != reinterpret_cast<iconv_t>(-1); }
  std::uint64_t replaced() const { return replaced_; }

  /// Converts what it can of the bytes. @return how many it took; at the end that is all of them.
  std::size_t Convert(std::span<char> bytes, bool at_end, std::string* out) {
    char* in = bytes.data();
    std::size_t left = bytes.size();
    char block[16384];
    while (left > 0) {
      char* to = block;
      std::size_t room = sizeof block;
      const std::size_t result = ::iconv(conversion_, &in, &left, &to, &room);
      const int error = result == static_cast<std::size_t>(-1) ? errno : 0;
      out->append(block, sizeof block - room);
      if (error == 0 || error == E2BIG) continue;
      if (error == EINVAL && !at_end) break;
      // Not valid, or cut by the end of the file.
      const std::size_t step = std::min(step_, left);
      in += step;
      left -= step;
      ++replaced_;
      *out += kReplacement;
    }
    return bytes.size() - left;
  }

 private:
  const iconv_t conversion_;
  const std::size_t step_;
  std::uint64_t replaced_ = 0;
};

}  // namespace

bool IsKnownEncoding(const std::string& name) {
  return Converter(name).known();
}

formats::Result<std::unique_ptr<LogText>> LogText::Open(const std::string& path, const std::string& otherwise) {
  std::unique_ptr<LogText> text(new LogText);
  text->fd_ = UniqueFd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat info {};
  if (!text->fd_.valid() || ::fstat(text->fd_.get(), &info) != 0) {
    return formats::Error{path + ": " + std::strerror(errno)};
  }
  if (!S_ISREG(info.st_mode)) return formats::Error{path + ": is no file"};
  text->size_ = static_cast<std::uint64_t>(info.st_size);
  char begin[kBeginBytes];
  const formats::XmlEncoding encoding =
      formats::EncodingOfXml(std::string_view(begin, text->ReadAt(0, std::span(begin))));
  text->begin_ = encoding.mark_bytes;
  text->size_ -= encoding.mark_bytes;
  const bool is_utf8 = encoding.name == "UTF-8";
  const bool named = is_utf8 && !encoding.stated && !otherwise.empty() && !text->IsValidUtf8();
  if (is_utf8 && !named) return text;
  const formats::Status converted = text->Convert(named ? otherwise : encoding.name, text->begin_);
  if (!converted.ok()) return formats::Error{path + ": " + converted.error().message};
  return text;
}

std::size_t LogText::ReadAt(std::uint64_t offset, std::span<char> into) const {
  return offset >= size_ ? 0 : ReadFully(fd_.get(), begin_ + offset, into);
}

bool LogText::IsValidUtf8() const {
  std::string piece(kPieceBytes, '\0');
  for (std::uint64_t offset = 0; offset < size_;) {
    const std::size_t got = ReadAt(offset, piece);
    if (got == 0) break;
    const std::string_view bytes = std::string_view(piece).substr(0, got);
    const bool last = got < piece.size();
    const std::size_t whole = last ? got : formats::WholeUtf8(bytes);
    if (formats::CountInvalidUtf8(bytes.substr(0, whole)) != 0) return false;
    offset += whole;
  }
  return true;
}

formats::Status LogText::Convert(const std::string& from, std::uint64_t begin) {
  Converter converter(from);
  if (!converter.known()) return formats::Error{"the encoding " + from + " is not known"};
  UniqueFd converted = NamelessFile();
  if (!converted.valid()) return formats::Error{std::string("no temporary file: ") + std::strerror(errno)};
  std::string piece(kPieceBytes, '\0');
  std::string out;
  std::uint64_t written = 0;
  for (std::uint64_t offset = begin;;) {
    const std::size_t got = ReadFully(fd_.get(), offset, piece);
    const bool at_end = got < piece.size();
    out.clear();
    offset += converter.Convert(std::span(piece).first(got), at_end, &out);
    if (!WriteFully(converted.get(), out)) {
      return formats::Error{std::string("the temporary file: ") + std::strerror(errno)};
    }
    written += out.size();
    if (at_end) break;
  }
  fd_ = std::move(converted);
  begin_ = 0;
  size_ = written;
  replaced_ = converter.replaced();
  return formats::Ok();
}

}  // namespace varnel::embedded
