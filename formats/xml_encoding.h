// Which encoding an XML text is in: its byte-order mark says, else its declaration, else it is UTF-8. Pure; any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace varnel::formats {

struct XmlEncoding {
  /// In the form that iconv knows: "UTF-8", "UTF-16LE", "WINDOWS-1252", ...
  std::string name;
  std::size_t mark_bytes = 0;  // the byte-order mark's length
  bool stated = false;         // by a mark or a declaration; UTF-8 is assumed otherwise
};

/// `begin` is the beginning of the text: 256 bytes are enough.
XmlEncoding EncodingOfXml(std::string_view begin);

/// How many bytes at the front of a UTF-8 text are whole characters, good or bad; at the end of a piece of it, a
/// character may have begun that ends in the next one.
std::size_t WholeUtf8(std::string_view piece);

/// How many places in the text are not valid UTF-8: one for each U+FFFD that ToValidUtf8 puts in.
std::size_t CountInvalidUtf8(std::string_view text);

}  // namespace varnel::formats
