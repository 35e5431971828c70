#include "host/dump_text.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>
#include <utility>

#include "formats/bugcheck_parameters.h"
#include "formats/guid_text.h"
#include "formats/text_encoding.h"
#include "host/dump_words.h"
#include "host/log_file.h"
#include "host/trace_file.h"

namespace varnel::host {
namespace {

// Of the lines that are made to be read; a name or a path is never cut for it.
constexpr std::size_t kWidth = 80;

// The words of a text in lines of at most `width` columns; a longer word has one of its own.
std::vector<std::string> Wrapped(std::string_view text, std::size_t width) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    const std::string_view word = text.substr(0, end);
    if (lines.empty() || lines.back().size() + 1 + word.size() > width) {
      lines.emplace_back(word);
    } else {
      lines.back().append(" ").append(word);
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

class Lines {
 public:
  void Row(const std::string& name, const std::string& value) {
    char padded[32];
    std::snprintf(padded, sizeof(padded), "  %-14s ", name.c_str());
    text_ += padded + Shown(value) + '\n';
  }
  // Beside an address stand its notes, one below the other.
  void AddressRow(const std::string& name, std::uint64_t address, const std::vector<std::string>& notes) {
    std::string value = AddressText(address);
    const std::string blank(value.size(), ' ');
    std::string left = name;
    bool any = false;
    for (const std::string& note : notes) {
      for (const std::string& line : Wrapped(note, kWidth - kNoteColumn)) {
        Row(std::exchange(left, {}), std::exchange(value, blank) + "  " + line);
        any = true;
      }
    }
    if (!any) Row(name, value);
  }
  void OptionalRow(const char* name, const std::optional<std::string>& value) {
    if (value) Row(name, *value);
  }
  void Line(const std::string& line) { text_ += Shown(line) + '\n'; }
  std::string Take() { return std::move(text_); }

 private:
  static constexpr std::size_t kNoteColumn = 37;

  // Texts of a dump are foreign: they must not steer a terminal.
  static std::string Shown(const std::string& text) { return ForTerminal(formats::ToValidUtf8(text)); }

  std::string text_;
};

std::optional<std::string> Address(std::optional<std::uint64_t> address) {
  return address ? std::optional(AddressText(*address)) : std::nullopt;
}

std::optional<std::string> Code(std::optional<std::uint32_t> code) {
  return code ? std::optional(CodeText(*code)) : std::nullopt;
}

std::string Padded(const std::string& text, std::size_t width) {
  return text.size() < width ? text + std::string(width - text.size(), ' ') : text;
}

// Where an address lies in a loaded module, as "name+0x1234"; empty for one that lies in none.
std::string PlaceOf(const std::vector<formats::DumpModule>& modules, std::uint64_t address) {
  const formats::DumpModule* found = nullptr;
  for (const formats::DumpModule& module : modules) {
    if (module.base <= address && (found == nullptr || module.base > found->base)) found = &module;
  }
  if (found == nullptr || address - found->base >= found->size) return {};
  return formats::Utf16ToUtf8(found->name) + '+' + OffsetText(address - found->base);
}

std::string BuildText(const formats::DumpHeader& header) {
  std::string text = std::to_string(header.build);
  if (header.major_version == 0xF) text += ", free";
  if (header.major_version == 0xC) text += ", checked";
  constexpr const char* kProducts[] = {"", ", workstation", ", domain controller", ", server"};
  if (header.product_type && *header.product_type < std::size(kProducts)) text += kProducts[*header.product_type];
  return text;
}

void WriteStopCode(const DumpSummary& summary, Lines* lines) {
  const formats::DumpHeader& header = summary.header;
  if (header.bug_check_code == 0) {
    lines->Row("stop code", "none");
    return;
  }
  const auto name = StopCodeName(header.bug_check_code);
  lines->Row("stop code", CodeText(header.bug_check_code) + (name ? ' ' + *name : std::string()));
  const formats::BugCheckParameters meanings = formats::BugCheckParameterMeanings(header.bug_check_code);
  for (std::size_t i = 0; i < meanings.size(); ++i) {
    const std::uint64_t value = header.bug_check_parameters[i];
    lines->AddressRow("parameter " + std::to_string(i + 1), value,
                      {std::string(meanings[i]), PlaceOf(summary.modules, value)});
  }
}

void WriteMachine(const DumpSummary& summary, Lines* lines) {
  const formats::DumpHeader& header = summary.header;
  std::string form = FormName(header.type, summary.qualifier);
  std::replace(form.begin(), form.end(), '_', ' ');
  lines->Row("form", form + ", " + std::to_string(summary.size) + " bytes");
  std::string machine = MachineName(header.machine) + ", " + std::to_string(header.processors) + " processor";
  if (header.processors != 1) machine += 's';
  if (summary.crashing_processor) machine += ", number " + std::to_string(*summary.crashing_processor) + " crashed";
  lines->Row("machine", machine);
  lines->Row("build", BuildText(header));
  WriteStopCode(summary, lines);
  if (header.system_time) {
    lines->Row("time", IsoTime(static_cast<std::int64_t>(*header.system_time), TimeDigits::kMicroseconds));
  }
  if (header.system_up_time) lines->Row("uptime", DurationText(*header.system_up_time));
  if (header.context) {
    lines->AddressRow("instruction", header.context->Rip(), {PlaceOf(summary.modules, header.context->Rip())});
  }
  if (summary.cr8) lines->Row("cr8", std::to_string(*summary.cr8));
  lines->OptionalRow("thread", Address(summary.thread));
  lines->OptionalRow("process", Address(summary.process));
}

void WriteCompleteness(const DumpSummary& summary, Lines* lines) {
  if (!summary.completeness) return;
  const formats::DumpCompleteness& c = *summary.completeness;
  std::string text = c.complete() ? "yes" : "no";
  if (c.file_size < c.expected_size) {
    text += ", at least " + std::to_string(c.expected_size - c.file_size) + " bytes are missing at the end";
  } else if (!c.consistent) {
    text += ", it contradicts itself";
  }
  lines->Row("complete", text);
}

void WriteHeader(const formats::DumpHeader& header, Lines* lines) {
  lines->Row("page tables", AddressText(header.directory_table_base));
  lines->OptionalRow("page numbers", Address(header.pfn_database));
  lines->Row("module list", AddressText(header.loaded_module_list));
  lines->Row("process list", AddressText(header.active_process_head));
  lines->OptionalRow("debugger data", Address(header.debugger_data_block));
  if (header.physical_memory) {
    lines->Row("memory", std::to_string(header.physical_memory->number_of_pages) + " pages in " +
                             std::to_string(header.physical_memory->number_of_runs) + " runs");
  }
  if (header.exception) {
    lines->Row("exception", CodeText(header.exception->code) + " at " + AddressText(header.exception->address));
  }
  if (header.required_dump_space) lines->Row("space asked", std::to_string(*header.required_dump_space) + " bytes");
  lines->OptionalRow("comment", header.comment);
  lines->OptionalRow("user version", header.version_user);
  lines->OptionalRow("parts", Code(header.mini_dump_fields));
  lines->OptionalRow("suite", Code(header.suite_mask));
  lines->OptionalRow("writer status", Code(header.writer_status));
  lines->OptionalRow("second. state", Code(header.secondary_data_state));
  lines->OptionalRow("attributes", Code(header.attributes));
  if (header.boot_id) lines->Row("boot", std::to_string(*header.boot_id));
}

void WriteModules(const DumpSummary& summary, Lines* lines) {
  if (!summary.modules.empty()) lines->Line("modules: base, size, time stamp, file");
  for (const formats::DumpModule& module : summary.modules) {
    lines->Line("  " + AddressText(module.base) + "  " + CodeText(module.size) + "  " +
                CodeText(module.time_date_stamp) + "  " +
                formats::Utf16ToUtf8(module.path.empty() ? module.name : module.path));
  }
  if (!summary.unloaded.empty()) lines->Line("unloaded modules: start, end, time, name");
  for (const formats::DumpUnloadedModule& module : summary.unloaded) {
    std::string line = "  " + AddressText(module.start) + "  " + AddressText(module.end) + "  ";
    if (module.time) line += IsoTime(static_cast<std::int64_t>(*module.time), TimeDigits::kMicroseconds) + "  ";
    lines->Line(line + formats::Utf16ToUtf8(module.name));
  }
}

void WriteStack(const std::optional<DumpStack>& stack, Lines* lines) {
  if (!stack) return;
  lines->Line("stack from " + AddressText(stack->start) + ", " + std::to_string(stack->bytes) +
              " bytes: address, value, place in a module");
  for (const DumpStackWord& word : stack->words) {
    lines->Line("  " + AddressText(word.address) + "  " + AddressText(word.value) + "  " +
                formats::Utf16ToUtf8(word.module) + '+' + OffsetText(word.offset));
  }
}

void WriteSecondaryData(const std::vector<formats::SecondaryDataBlock>& blocks, Lines* lines) {
  if (!blocks.empty()) lines->Line("secondary data");
  for (const formats::SecondaryDataBlock& block : blocks) {
    lines->Line("  " + formats::FormatGuid(block.tag) + "  " + Padded(std::to_string(block.size) + " bytes", 16) +
                "at byte " + std::to_string(block.offset));
  }
}

}  // namespace

std::string DumpAsText(const DumpSummary& summary) {
  Lines lines;
  lines.Line(summary.file);
  WriteMachine(summary, &lines);
  WriteCompleteness(summary, &lines);
  WriteHeader(summary.header, &lines);
  WriteModules(summary, &lines);
  WriteStack(summary.stack, &lines);
  WriteSecondaryData(summary.secondary_data, &lines);
  return lines.Take();
}

}  // namespace varnel::host
