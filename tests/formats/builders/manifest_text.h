// Composes instrumentation manifests as text, and reads the real ones that stand beside the tree.
#pragma once

#include <cstddef>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varnel::testing {

inline std::vector<std::byte> ToBytes(std::string_view text) {
  const auto* data = reinterpret_cast<const std::byte*>(text.data());
  return {data, data + text.size()};
}

/// ASCII text as UTF-16 behind its byte order mark.
inline std::vector<std::byte> ToUtf16Bytes(std::string_view ascii, bool big_endian = false) {
  std::vector<std::byte> bytes;
  const auto put = [&](unsigned unit) {
    bytes.push_back(static_cast<std::byte>(big_endian ? unit >> 8 : unit));
    bytes.push_back(static_cast<std::byte>(big_endian ? unit : unit >> 8));
  };
  put(0xFEFF);
  for (const char c : ascii) put(static_cast<unsigned char>(c));
  return bytes;
}

/// A file of the sample collection in `folder`; empty when it is not there.
inline std::vector<std::byte> ReadSample(const std::string& folder, const std::string& name) {
  std::ifstream file(folder + "/" + name, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  return ToBytes(text);
}

/// Wraps the lists of one provider into a whole document.
inline std::string ManifestOf(std::string_view provider_body, std::string_view strings = "",
                              std::string_view name = "Test-Provider",
                              std::string_view guid = "{11111111-2222-3333-4444-555555555555}") {
  std::string text =
      "<instrumentationManifest xmlns=\"http://schemas.microsoft.com/win/2004/08/events\">\n"
      "<instrumentation><events>\n<provider name=\"";
  text += name;
  text += "\" guid=\"";
  text += guid;
  text += "\" symbol=\"TEST\">\n";
  text += provider_body;
  text +=
      "\n</provider></events></instrumentation>\n"
      "<localization><resources culture=\"en-US\"><stringTable>";
  text += strings;
  text += "</stringTable></resources></localization></instrumentationManifest>\n";
  return text;
}

/// One provider whose event 1 has the given template elements.
inline std::string ManifestWithTemplate(std::string_view template_body, std::string_view maps = "",
                                        std::string_view strings = "") {
  std::string body(maps);
  body += "<templates><template tid=\"T\">\n";
  body += template_body;
  body += "\n</template></templates><events><event value=\"1\" template=\"T\"/></events>";
  return ManifestOf(body, strings);
}

namespace manifest_text_internal {

using DataList = std::vector<std::pair<std::string, std::string>>;

inline std::string WardletTemplate(std::string_view tid, const DataList& data) {
  std::string text = "<template tid=\"" + std::string(tid) + "\">\n";
  std::string user = "<UserData><EventData xmlns=\"ProviderNamespace\">\n";
  int position = 0;
  for (const auto& [name, type] : data) {
    text += "<data name=\"" + name + "\" inType=\"" + type + "\"/>\n";
    user += "<" + name + "> %" + std::to_string(++position) + " </" + name + ">\n";
  }
  return text + user + "</EventData></UserData></template>\n";
}

inline std::string WardletKeywords(std::string* module_names) {
  std::string text = "<keywords>\n";
  const auto add = [&](const std::string& name, unsigned long long mask) {
    char line[96];
    std::snprintf(line, sizeof line, "<keyword name=\"%s\" mask=\"0x%llX\"/>\n", name.c_str(), mask);
    text += line;
    if (mask > 4) *module_names += " " + name;
  };
  add("DefaultWithMsgAnsi", 1);
  add("DefaultWithMsgWide", 2);
  add("DefaultWithBinary", 4);
  add("ModuleVNMgr", 8);
  for (int n = 1; n <= 3; ++n) add("ModuleReserve" + std::to_string(n), 1ull << (n + 3));
  for (int n = 1; n <= 27; ++n) add("Module" + std::string(n < 10 ? "0" : "") + std::to_string(n), 1ull << (n + 6));
  return text + "</keywords>\n";
}

}  // namespace manifest_text_internal

/// A manifest of the shape that the module composes for each of its providers at every start.
inline std::string WardletManifest(std::string_view name = "ProviderSample",
                                   std::string_view guid = "{D8909C24-5BE9-4502-98CA-AB7BDC24899D}") {
  using manifest_text_internal::WardletTemplate;
  std::string modules;
  std::string text = manifest_text_internal::WardletKeywords(&modules);
  const manifest_text_internal::DataList common = {{"Counter", "win:UInt32"},
                                                   {"Flags", "win:UInt32"},
                                                   {"Function", "win:AnsiString"},
                                                   {"CodeLine", "win:UInt32"},
                                                   {"status", "win:UInt32"}};
  auto ansi = common, wide = common, binary = common;
  ansi.emplace_back("AdditionalMsgAnsi", "win:AnsiString");
  wide.emplace_back("AdditionalMsgWide", "win:UnicodeString");
  binary.emplace_back("BinaryCount", "win:UInt32");
  binary.emplace_back("AdditionalBinary", "win:UInt8\" count=\"BinaryCount");
  text += "<templates>\n" + WardletTemplate("TransferMsgAnsi", ansi) + WardletTemplate("TransferMsgWide", wide) +
          WardletTemplate("TransferBinary", binary) + "</templates>\n<events>\n";
  const char* kinds[] = {"MsgAnsi", "MsgWide", "Binary"};
  std::string strings;
  for (int i = 0; i < 3; ++i) {
    const std::string id = std::string("Transfer") + kinds[i];
    text += "<event value=\"" + std::to_string(i + 1) + "\" level=\"win:Informational\" template=\"" + id +
            "\" channel=\"Application\" message=\"$(string.Event." + id + ")\" keywords=\"DefaultWith" + kinds[i] +
            modules + "\"/>\n";
    strings += "<string id=\"Event." + id + "\" value=\"ID(%1) " + (i == 2 ? "Binary" : "Message") + " has sent.\"/>\n";
  }
  text += "</events>\n<channels><importChannel name=\"Application\" chid=\"Application\"/></channels>\n";
  return ManifestOf(text, strings, name, guid);
}

}  // namespace varnel::testing
