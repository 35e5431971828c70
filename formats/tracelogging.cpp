#include "formats/tracelogging.h"

#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "formats/byte_cursor.h"
#include "formats/text_encoding.h"

namespace varnel::formats {
namespace {

constexpr unsigned kTypeMask = 0x1F;
constexpr unsigned kCountMask = 0x60;
constexpr unsigned kConstantCount = 0x20;
constexpr unsigned kVariableCount = 0x40;
constexpr unsigned kMore = 0x80;
constexpr int kMaxDepth = 16;

struct Field {
  PropertyLayout property;
  bool variable_count = false;
  std::vector<Field> members;
};

class SchemaReader {
 public:
  explicit SchemaReader(std::span<const std::byte> bytes) : cursor_(bytes) {}

  Result<EventLayout> Read();

 private:
  bool ReadName(std::string* name);
  bool SkipTag();
  Result<Field> ReadField(int depth);
  Status ReadMembers(unsigned count, int depth, Field* field);
  bool ReadCount(unsigned count_kind, Field* field);
  Error At(const char* what) const { return {std::string("TraceLogging description: ") + what, cursor_.offset()}; }

  ByteCursor cursor_;
};

bool SchemaReader::ReadName(std::string* name) {
  ByteCursor ahead = cursor_;
  std::string text;
  for (std::uint8_t c = 0; ahead.Read(&c);) {
    if (c == 0) {
      *name = ToValidUtf8(text);
      cursor_ = ahead;
      return true;
    }
    text.push_back(static_cast<char>(c));
  }
  return false;
}

bool SchemaReader::SkipTag() {
  std::uint8_t byte = 0;
  do {
    if (!cursor_.Read(&byte)) return false;
  } while ((byte & kMore) != 0);
  return true;
}

bool SchemaReader::ReadCount(unsigned count_kind, Field* field) {
  field->variable_count = count_kind == kVariableCount;
  if (count_kind == kConstantCount) {
    field->property.count.told = Told::kFixed;
    return cursor_.Read(&field->property.count.value);
  }
  if (count_kind == kCountMask) {
    std::uint16_t size = 0;
    return cursor_.Read(&size) && cursor_.Skip(size);
  }
  return true;
}

Result<Field> SchemaReader::ReadField(int depth) {
  Field field;
  std::uint8_t in = 0;
  std::uint8_t out = 0;
  if (!ReadName(&field.property.name) || !cursor_.Read(&in)) return At("a field is cut off");
  if ((in & kMore) != 0 && !cursor_.Read(&out)) return At("a field has no out-type");
  if ((out & kMore) != 0 && !SkipTag()) return At("a field's tag is cut off");
  if (!ReadCount(in & kCountMask, &field)) return At("a field's count is cut off");
  PropertyLayout& property = field.property;
  property.in_type = static_cast<InType>(in & kTypeMask);
  // A custom serialisation is bytes that only its writer understands.
  if ((in & kCountMask) == kCountMask) property.in_type = InType::kCountedBinary;
  const unsigned detail = out & ~kMore;
  if (property.in_type == InType::kTraceLoggingStruct) {
    property.is_structure = true;
    property.in_type = InType::kNull;
    if (Status status = ReadMembers(detail, depth, &field); !status.ok()) return status.error();
  } else {
    property.out_type = detail != 0 ? static_cast<OutType>(detail) : TraitsOf(property.in_type).default_out;
  }
  return field;
}

Status SchemaReader::ReadMembers(unsigned count, int depth, Field* field) {
  if (depth >= kMaxDepth) return At("structures stand too deep in each other");
  for (unsigned i = 0; i < count; ++i) {
    Result<Field> member = ReadField(depth + 1);
    if (!member.ok()) return member.error();
    field->members.push_back(std::move(member).value());
  }
  return Ok();
}

/// Lays the tree of fields out as layouts have it: level by level, the members of a structure together.
class Flattener {
 public:
  EventLayout Flatten(std::string name, const std::vector<Field>& fields) {
    layout_.name = std::move(name);
    AddAll(fields);
    layout_.top_level_count = static_cast<std::uint16_t>(layout_.properties.size());
    for (std::size_t i = 0; i < structures_.size(); ++i) {
      const auto [index, members] = structures_[i];
      const auto first = static_cast<std::uint16_t>(layout_.properties.size());
      AddAll(*members);
      layout_.properties[index].first_member = first;
      layout_.properties[index].member_count = static_cast<std::uint16_t>(layout_.properties.size() - first);
    }
    FinishLayout(&layout_);
    return std::move(layout_);
  }

 private:
  struct Pending {
    std::size_t index;
    const std::vector<Field>* members;
  };

  void AddAll(const std::vector<Field>& fields) {
    for (const Field& field : fields) Add(field);
  }

  void Add(const Field& field) {
    PropertyLayout property = field.property;
    const bool is_array = field.variable_count || property.count.told != Told::kNot;
    if (field.variable_count) property.count = AddImplied(property.name + ".Count");
    if (property.in_type == InType::kBinary && !property.is_structure) {
      // Each element of an array has a length of its own, which no single property can tell.
      if (is_array) {
        property.in_type = InType::kCountedBinary;
      } else {
        property.length = AddImplied(property.name + ".Length");
      }
    }
    if (property.is_structure) structures_.push_back({layout_.properties.size(), &field.members});
    layout_.properties.push_back(std::move(property));
  }

  Amount AddImplied(std::string name) {
    PropertyLayout implied;
    implied.name = std::move(name);
    implied.in_type = InType::kUInt16;
    implied.out_type = OutType::kUnsignedShort;
    implied.is_implied = true;
    layout_.properties.push_back(std::move(implied));
    return {Told::kByField, static_cast<std::uint16_t>(layout_.properties.size() - 1)};
  }

  EventLayout layout_;
  std::vector<Pending> structures_;
};

Result<EventLayout> SchemaReader::Read() {
  std::string name;
  if (!SkipTag() || !ReadName(&name)) return At("the event's name is cut off");
  std::vector<Field> fields;
  while (cursor_.remaining() != 0) {
    Result<Field> field = ReadField(0);
    if (!field.ok()) return field.error();
    fields.push_back(std::move(field).value());
  }
  return Flattener().Flatten(std::move(name), fields);
}

/// The bytes that the size in front of them covers, behind that size; empty when it does not fit.
std::span<const std::byte> Sized(std::span<const std::byte> bytes) {
  std::uint16_t size = 0;
  ByteCursor cursor(bytes);
  if (!cursor.Read(&size) || size < sizeof size || size > bytes.size()) return {};
  return bytes.subspan(sizeof size, size - sizeof size);
}

}  // namespace

Result<EventLayout> ReadTraceLoggingSchema(std::span<const std::byte> schema) {
  const std::span<const std::byte> body = Sized(schema);
  if (body.empty()) return Error{"TraceLogging description: its size does not fit", 0};
  return SchemaReader(body).Read();
}

std::string_view ReadProviderName(std::span<const std::byte> traits) {
  const std::span<const std::byte> body = Sized(traits);
  const auto* text = reinterpret_cast<const char*>(body.data());
  const void* nul = body.empty() ? nullptr : std::memchr(text, 0, body.size());
  if (nul == nullptr) return {};
  return {text, static_cast<std::size_t>(static_cast<const char*>(nul) - text)};
}

}  // namespace varnel::formats
