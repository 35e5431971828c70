#include "tests/support/evtx_builder.h"

#include <cstring>

namespace varnel::testing {
namespace {

constexpr std::size_t kChunk = 65536;
constexpr std::size_t kRecordsAt = 512;

std::uint32_t Crc(std::string_view bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char c : bytes) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? (crc >> 1) ^ 0xEDB88320 : crc >> 1;
  }
  return ~crc;
}

template <typename T>
void Put(std::string* bytes, std::size_t at, T value) {
  std::memcpy(bytes->data() + at, &value, sizeof value);
}
template <typename T>
void Append(std::string* bytes, T value) {
  bytes->append(reinterpret_cast<const char*>(&value), sizeof value);
}
void AppendWide(std::string* bytes, std::string_view ascii) {
  for (const char c : ascii) Append(bytes, static_cast<std::uint16_t>(static_cast<unsigned char>(c)));
}

std::string Value(std::string_view text) {
  std::string token("\x05\x01", 2);
  Append(&token, static_cast<std::uint16_t>(text.size()));
  AppendWide(&token, text);
  return token;
}

}  // namespace

struct EvtxBuilder::Element {
  std::string name;
  std::vector<std::pair<std::string, std::string>> attributes;
  std::string text;
  std::vector<Element> children;
};

/// A name's place in the chunk, and the name itself where it is met first. `at`: where the place is written.
std::string EvtxBuilder::Name(const std::string& name, std::size_t at) {
  std::string token;
  const auto known = names_.find(name);
  if (known != names_.end()) {
    Append(&token, known->second);
    return token;
  }
  const auto place = static_cast<std::uint32_t>(at + 4);
  names_[name] = place;
  std::uint32_t hash = 0;
  for (const char c : name) hash = hash * 65599 + static_cast<unsigned char>(c);
  Append(&token, place);
  Append(&token, std::uint32_t{0});
  Append(&token, static_cast<std::uint16_t>(hash));
  Append(&token, static_cast<std::uint16_t>(name.size()));
  AppendWide(&token, name);
  Append(&token, std::uint16_t{0});
  return token;
}

/// `at`: where `out` begins in the chunk.
void EvtxBuilder::Write(const Element& element, std::size_t at, std::string* out) {
  *out += element.attributes.empty() ? '\x01' : '\x41';
  Append(out, std::uint16_t{0xFFFF});
  const std::size_t size_at = out->size();
  Append(out, std::uint32_t{0});
  *out += Name(element.name, at + out->size());
  if (!element.attributes.empty()) {
    const std::size_t list_at = out->size();
    Append(out, std::uint32_t{0});
    for (std::size_t i = 0; i < element.attributes.size(); ++i) {
      *out += i + 1 < element.attributes.size() ? '\x46' : '\x06';
      *out += Name(element.attributes[i].first, at + out->size());
      *out += Value(element.attributes[i].second);
    }
    Put(out, list_at, static_cast<std::uint32_t>(out->size() - list_at - 4));
  }
  if (element.text.empty() && element.children.empty()) {
    *out += '\x03';
  } else {
    *out += '\x02';
    if (!element.text.empty()) *out += Value(element.text);
    for (const Element& child : element.children) Write(child, at, out);
    *out += '\x04';
  }
  Put(out, size_at, static_cast<std::uint32_t>(out->size() - size_at - 4));
}

std::string EvtxBuilder::Record(const EvtxEvent& event) {
  Element data{"EventData", {}, "", {}};
  for (const auto& [name, value] : event.data) data.children.push_back({"Data", {{"Name", name}}, value, {}});
  const Element root{"Event",
                     {{"xmlns", "http://schemas.microsoft.com/win/2004/08/events/event"}},
                     "",
                     {{"System",
                       {},
                       "",
                       {{"Provider", {{"Name", event.provider}}, "", {}},
                        {"EventID", {}, std::to_string(event.event_id), {}},
                        {"TimeCreated", {{"SystemTime", event.time_text}}, "", {}},
                        {"EventRecordID", {}, std::to_string(event.record_id), {}},
                        {"Channel", {}, "System", {}},
                        {"Computer", {}, "PC", {}},
                        {"Security", {}, "", {}}}},
                      data}};
  std::string record(24, '\0');
  record += std::string("\x0f\x01\x01\x00", 4);
  Write(root, kRecordsAt + records_.size(), &record);
  record += '\0';
  record.resize((record.size() + 4 + 7) / 8 * 8);
  Put(&record, record.size() - 4, static_cast<std::uint32_t>(record.size()));
  Put(&record, 0, std::uint32_t{0x2A2A});
  Put(&record, 4, static_cast<std::uint32_t>(record.size()));
  Put(&record, 8, event.record_id);
  Put(&record, 16, event.time);
  return record;
}

void EvtxBuilder::Add(const EvtxEvent& event) {
  std::string record = Record(event);
  if (kRecordsAt + records_.size() + record.size() > kChunk) {
    full_ += LastChunk();
    records_.clear();
    names_.clear();
    record = Record(event);
  }
  if (records_.empty()) first_ = event.record_id;
  last_ = event.record_id;
  last_at_ = kRecordsAt + records_.size();
  records_ += record;
}

std::string EvtxBuilder::LastChunk() const {
  std::string chunk(kRecordsAt, '\0');
  chunk += records_;
  const auto end = static_cast<std::uint32_t>(chunk.size());
  chunk.resize(kChunk);
  std::memcpy(chunk.data(), "ElfChnk", 7);
  Put(&chunk, 8, first_);
  Put(&chunk, 16, last_);
  Put(&chunk, 24, first_);
  Put(&chunk, 32, last_);
  Put(&chunk, 40, std::uint32_t{128});
  Put(&chunk, 44, static_cast<std::uint32_t>(last_at_));
  Put(&chunk, 48, end);
  Put(&chunk, 52, Crc(records_));
  Put(&chunk, 124, Crc(chunk.substr(0, 120) + chunk.substr(128, kRecordsAt - 128)));
  return chunk;
}

std::string EvtxBuilder::TakeFullChunks() {
  return std::exchange(full_, {});
}

std::string EvtxBuilder::FileHeader(std::size_t chunks) {
  std::string header(4096, '\0');
  std::memcpy(header.data(), "ElfFile", 7);
  Put(&header, 16, std::uint64_t{chunks - 1});
  Put(&header, 32, std::uint32_t{128});
  Put(&header, 36, std::uint16_t{1});
  Put(&header, 38, std::uint16_t{3});
  Put(&header, 40, std::uint16_t{4096});
  Put(&header, 42, static_cast<std::uint16_t>(chunks));
  Put(&header, 124, Crc(header.substr(0, 120)));
  return header;
}

std::string EvtxBuilder::Build() const {
  const std::string chunks = full_ + LastChunk();
  return FileHeader(chunks.size() / kChunk) + chunks;
}

}  // namespace varnel::testing
