#include "tests/support/pe_bytes.h"

#include <algorithm>
#include <map>

namespace varnel::support {
namespace {

Blob HeaderBytes(const PeSpec& spec) {
  ByteWriter out;
  out.Text("MZ").PadTo(0x3C, 0).U32(spec.new_header).PadTo(spec.new_header, 0);
  out.Text("PE").U16(0);
  out.U16(spec.machine).U16(static_cast<std::uint16_t>(spec.sections.size())).U32(spec.time_date_stamp);
  out.U32(0).U32(0).U16(spec.optional_size).U16(spec.characteristics);
  const std::size_t optional = out.size();
  out.U16(spec.magic).U8(14).U8(0).U32(0x2000).U32(0x4000).U32(0).U32(spec.entry_point).U32(0x1000);
  out.U64(spec.image_base).U32(0x1000).U32(0x200);
  out.U16(10).U16(0).U16(1).U16(2).U16(10).U16(0).U32(0);
  out.U32(spec.size_of_image).U32(0x400).U32(spec.checksum).U16(1).U16(0x4160);
  out.U64(0x100000).U64(0x1000).U64(0x100000).U64(0x1000).U32(0).U32(spec.directories);
  out.PadTo(optional + spec.optional_size, 0);
  for (const PeSectionSpec& section : spec.sections) {
    const std::size_t begin = out.size();
    out.Text(section.name).PadTo(begin + 8, 0).U32(section.size).U32(section.rva);
    out.U32(section.size).U32(section.rva).U32(0).U32(0).U16(0).U16(0).U32(section.characteristics);
  }
  return out.Take();
}

}  // namespace

PeBytes::PeBytes(const PeSpec& spec) : optional_header_(spec.new_header + 24) {
  bytes_.resize(spec.size_of_image);
  Put(0, HeaderBytes(spec));
}

PeBytes& PeBytes::Put(std::uint32_t rva, const Blob& bytes) {
  if (bytes_.size() < rva + bytes.size()) bytes_.resize(rva + bytes.size());
  std::copy(bytes.begin(), bytes.end(), bytes_.begin() + rva);
  return *this;
}

PeBytes& PeBytes::Put32(std::uint32_t rva, std::uint32_t value) {
  Patch32(&bytes_, rva, value);
  return *this;
}

PeBytes& PeBytes::Put16(std::uint32_t rva, std::uint16_t value) {
  Patch16(&bytes_, rva, value);
  return *this;
}

PeBytes& PeBytes::Directory(std::uint32_t index, std::uint32_t rva, std::uint32_t size) {
  Put32(optional_header_ + 112 + 8 * index, rva);
  return Put32(optional_header_ + 116 + 8 * index, size);
}

Blob PeExportTable(std::uint32_t rva, const std::vector<PeExportSpec>& exports, std::uint32_t base,
                   std::string_view image_name) {
  std::map<std::string, std::uint16_t> names;
  for (std::size_t i = 0; i < exports.size(); ++i) {
    for (const std::string& name : exports[i].names) names[name] = static_cast<std::uint16_t>(i);
  }
  const auto functions = static_cast<std::uint32_t>(rva + 40);
  const auto name_places = static_cast<std::uint32_t>(functions + 4 * exports.size());
  const auto ordinals = static_cast<std::uint32_t>(name_places + 4 * names.size());
  const auto texts = static_cast<std::uint32_t>(ordinals + 2 * names.size());

  ByteWriter strings;
  const auto add = [&strings, texts](std::string_view text) {
    const auto place = static_cast<std::uint32_t>(texts + strings.size());
    strings.Text(text).U8(0);
    return place;
  };
  ByteWriter out;
  out.U32(0).U32(0x5F1A2B3C).U16(0).U16(0).U32(add(image_name)).U32(base);
  out.U32(static_cast<std::uint32_t>(exports.size())).U32(static_cast<std::uint32_t>(names.size()));
  out.U32(functions).U32(name_places).U32(ordinals);
  for (const PeExportSpec& spec : exports) out.U32(spec.forwarder.empty() ? spec.rva : add(spec.forwarder));
  for (const auto& [name, index] : names) out.U32(add(name));
  for (const auto& [name, index] : names) out.U16(index);
  return out.Bytes(strings.Take()).Take();
}

Blob PeResourceTree(std::uint32_t rva, const std::vector<PeResourceSpec>& resources) {
  using Languages = std::map<std::uint32_t, const Blob*>;
  std::map<std::uint32_t, std::map<std::uint32_t, Languages>> types;
  for (const PeResourceSpec& spec : resources) types[spec.type][spec.name][spec.language] = &spec.data;
  // Directories breadth first, then the leaves, then the data; each pass puts what the one before it points to.
  std::size_t names = 0;
  std::size_t languages = 0;
  for (const auto& [type, by_name] : types) {
    names += by_name.size();
    for (const auto& [name, by_language] : by_name) languages += by_language.size();
  }
  const auto high = [](std::size_t offset) { return static_cast<std::uint32_t>(offset) | 0x8000'0000U; };
  const auto head = [](ByteWriter* out, std::size_t count) {
    out->U32(0).U32(0).U16(0).U16(0).U16(0).U16(static_cast<std::uint16_t>(count));
  };
  std::size_t next_name = 16 + 8 * types.size();
  std::size_t next_language = next_name + 16 * types.size() + 8 * names;
  std::size_t next_leaf = next_language + 16 * names + 8 * languages;
  std::size_t next_data = next_leaf + 16 * languages;
  ByteWriter root, middle, leaves, entries, data;
  head(&root, types.size());
  for (const auto& [type, by_name] : types) {
    root.U32(type).U32(high(next_name));
    next_name += 16 + 8 * by_name.size();
    head(&middle, by_name.size());
    for (const auto& [name, by_language] : by_name) {
      middle.U32(name).U32(high(next_language));
      next_language += 16 + 8 * by_language.size();
      head(&leaves, by_language.size());
      for (const auto& [language, bytes] : by_language) {
        leaves.U32(language).U32(static_cast<std::uint32_t>(next_leaf));
        next_leaf += 16;
        entries.U32(static_cast<std::uint32_t>(rva + next_data)).U32(static_cast<std::uint32_t>(bytes->size()));
        entries.U32(1200).U32(0);
        data.Bytes(*bytes).Align8();
        next_data = 16 + 8 * types.size() + 16 * types.size() + 8 * names + 16 * names + 24 * languages + data.size();
      }
    }
  }
  return root.Bytes(middle.Take()).Bytes(leaves.Take()).Bytes(entries.Take()).Bytes(data.Take()).Take();
}

Blob VersionBlock(std::u16string_view key, std::uint16_t type, std::uint16_t value_length, const Blob& value,
                  const std::vector<Blob>& children) {
  ByteWriter out;
  out.U16(0).U16(value_length).U16(type).Utf16z(key);
  const auto align = [&out] { out.PadTo((out.size() + 3) / 4 * 4, 0); };
  if (!value.empty()) {
    align();
    out.Bytes(value);
  }
  for (const Blob& child : children) {
    align();
    out.Bytes(child);
  }
  return out.SizeAt(0).Take();
}

Blob VersionText(std::u16string_view key, std::u16string_view text) {
  return VersionBlock(key, 1, static_cast<std::uint16_t>(text.size() + 1), ByteWriter().Utf16z(text).Take());
}

Blob VersionFixed(std::uint32_t file_ms, std::uint32_t file_ls, std::uint32_t product_ms, std::uint32_t product_ls,
                  std::uint32_t signature) {
  ByteWriter out;
  out.U32(signature).U32(0x10000).U32(file_ms).U32(file_ls).U32(product_ms).U32(product_ls);
  out.U32(0x3F).U32(0).U32(0x40004).U32(3).U32(7).U32(0).U32(0);
  return out.Take();
}

Blob VersionResource(std::u16string_view file_version, std::u16string_view product_version, const Blob& fixed) {
  const Blob table = VersionBlock(u"040904B0", 1, 0, {},
                                  {VersionText(u"CompanyName", u"Tests"), VersionText(u"FileVersion", file_version),
                                   VersionText(u"ProductVersion", product_version)});
  const Blob texts = VersionBlock(u"StringFileInfo", 1, 0, {}, {table});
  const Blob translation = VersionBlock(u"Translation", 0, 4, ByteWriter().U16(0x0409).U16(1200).Take());
  const Blob variables = VersionBlock(u"VarFileInfo", 1, 0, {}, {translation});
  return VersionBlock(u"VS_VERSION_INFO", 0, static_cast<std::uint16_t>(fixed.size()), fixed, {texts, variables});
}

Blob RsdsRecord(const GUID& guid, std::uint32_t age, std::string_view file_name) {
  return ByteWriter().Text("RSDS").Guid(guid).U32(age).Text(file_name).U8(0).Take();
}

Blob DebugEntry(std::uint32_t type, std::uint32_t rva, std::uint32_t size) {
  return ByteWriter().U32(0).U32(0x5F1A2B3C).U16(0).U16(0).U32(type).U32(size).U32(rva).U32(rva).Take();
}

std::uint16_t UnwindSlot(std::uint8_t offset, std::uint8_t op, std::uint8_t info) {
  return static_cast<std::uint16_t>(offset | op << 8 | info << 12);
}

Blob PeUnwindBytes(const PeUnwindSpec& spec) {
  ByteWriter out;
  out.U8(static_cast<std::uint8_t>(spec.version | spec.flags << 3)).U8(spec.prolog_size);
  out.U8(static_cast<std::uint8_t>(spec.slots.size()));
  out.U8(static_cast<std::uint8_t>(spec.frame_register | spec.frame_offset << 4));
  for (const std::uint16_t slot : spec.slots) out.U16(slot);
  if (spec.slots.size() % 2 != 0) out.U16(0);
  for (const std::uint32_t word : spec.behind) out.U32(word);
  return out.Take();
}

Blob PeFunctionTable(const std::vector<std::array<std::uint32_t, 3>>& entries) {
  ByteWriter out;
  for (const auto& [begin, end, unwind] : entries) out.U32(begin).U32(end).U32(unwind);
  return out.Take();
}

}  // namespace varnel::support
