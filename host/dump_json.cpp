#include "host/dump_json.h"

#include <cjson/cJSON.h>

#include <memory>

#include "formats/bugcheck_parameters.h"
#include "formats/guid_text.h"
#include "formats/text_encoding.h"
#include "host/dump_words.h"
#include "host/trace_file.h"

namespace varnel::host {
namespace {

void AddText(cJSON* object, const char* key, const std::optional<std::string>& text) {
  if (text) {
    cJSON_AddStringToObject(object, key, formats::ToValidUtf8(*text).c_str());
  } else {
    cJSON_AddNullToObject(object, key);
  }
}

void AddNumber(cJSON* object, const char* key, std::optional<std::uint64_t> number) {
  if (number) {
    cJSON_AddNumberToObject(object, key, static_cast<double>(*number));
  } else {
    cJSON_AddNullToObject(object, key);
  }
}

void AddAddress(cJSON* object, const char* key, std::optional<std::uint64_t> address) {
  AddText(object, key, address ? std::optional(AddressText(*address)) : std::nullopt);
}

void AddCode(cJSON* object, const char* key, std::optional<std::uint32_t> code) {
  AddText(object, key, code ? std::optional(CodeText(*code)) : std::nullopt);
}

void AddTime(cJSON* object, const char* key, std::optional<std::uint64_t> time) {
  AddText(object, key,
          time ? std::optional(IsoTime(static_cast<std::int64_t>(*time), TimeDigits::kTicks)) : std::nullopt);
}

void AddMemory(cJSON* root, const std::optional<formats::PhysicalMemoryDescriptor>& memory) {
  if (!memory) {
    cJSON_AddNullToObject(root, "physical_memory");
    return;
  }
  cJSON* object = cJSON_AddObjectToObject(root, "physical_memory");
  AddNumber(object, "pages", memory->number_of_pages);
  cJSON* runs = cJSON_AddArrayToObject(object, "runs");
  for (const formats::PageRun& run : memory->runs) {
    cJSON* item = cJSON_CreateObject();
    AddNumber(item, "base_page", run.base_page);
    AddNumber(item, "pages", run.page_count);
    cJSON_AddItemToArray(runs, item);
  }
}

void AddException(cJSON* root, const std::optional<formats::DumpExceptionRecord>& exception) {
  if (!exception) {
    cJSON_AddNullToObject(root, "exception");
    return;
  }
  cJSON* object = cJSON_AddObjectToObject(root, "exception");
  AddCode(object, "code", exception->code);
  AddAddress(object, "address", exception->address);
}

void AddHeader(cJSON* root, const formats::DumpHeader& header) {
  cJSON* object = cJSON_AddObjectToObject(root, "header");
  AddNumber(object, "major_version", header.major_version);
  AddAddress(object, "directory_table_base", header.directory_table_base);
  AddAddress(object, "pfn_database", header.pfn_database);
  AddAddress(object, "loaded_module_list", header.loaded_module_list);
  AddAddress(object, "active_process_head", header.active_process_head);
  AddAddress(object, "debugger_data_block", header.debugger_data_block);
  AddText(object, "version_user", header.version_user);
  AddMemory(object, header.physical_memory);
  AddException(object, header.exception);
  AddNumber(object, "required_dump_space", header.required_dump_space);
  AddText(object, "comment", header.comment);
  AddCode(object, "mini_dump_fields", header.mini_dump_fields);
  AddCode(object, "secondary_data_state", header.secondary_data_state);
  AddNumber(object, "product_type", header.product_type);
  AddCode(object, "suite_mask", header.suite_mask);
  AddCode(object, "writer_status", header.writer_status);
  AddCode(object, "attributes", header.attributes);
  AddNumber(object, "boot_id", header.boot_id);
  AddNumber(object, "kd_secondary_version", header.kd_secondary_version);
}

void AddStopCode(cJSON* root, const formats::DumpHeader& header) {
  cJSON* object = cJSON_AddObjectToObject(root, "bugcheck");
  AddCode(object, "code", header.bug_check_code);
  AddText(object, "name", StopCodeName(header.bug_check_code));
  const formats::BugCheckParameters meanings = formats::BugCheckParameterMeanings(header.bug_check_code);
  cJSON* list = cJSON_AddArrayToObject(object, "parameters");
  for (std::size_t i = 0; i < meanings.size(); ++i) {
    cJSON* parameter = cJSON_CreateObject();
    AddAddress(parameter, "value", header.bug_check_parameters[i]);
    AddText(parameter, "meaning", meanings[i].empty() ? std::nullopt : std::optional(std::string(meanings[i])));
    cJSON_AddItemToArray(list, parameter);
  }
}

void AddModules(cJSON* root, const DumpSummary& summary) {
  cJSON* loaded = cJSON_AddArrayToObject(root, "modules");
  for (const formats::DumpModule& module : summary.modules) {
    cJSON* object = cJSON_CreateObject();
    AddText(object, "name", formats::Utf16ToUtf8(module.name));
    AddAddress(object, "base", module.base);
    AddNumber(object, "size", module.size);
    AddCode(object, "timestamp", module.time_date_stamp);
    AddCode(object, "checksum", module.check_sum);
    AddText(object, "path", formats::Utf16ToUtf8(module.path));
    cJSON_AddItemToArray(loaded, object);
  }
  cJSON* unloaded = cJSON_AddArrayToObject(root, "unloaded_modules");
  for (const formats::DumpUnloadedModule& module : summary.unloaded) {
    cJSON* object = cJSON_CreateObject();
    AddText(object, "name", formats::Utf16ToUtf8(module.name));
    AddAddress(object, "start", module.start);
    AddAddress(object, "end", module.end);
    AddTime(object, "time", module.time);
    cJSON_AddItemToArray(unloaded, object);
  }
}

void AddStack(cJSON* root, const std::optional<DumpStack>& stack) {
  if (!stack) {
    cJSON_AddNullToObject(root, "stack");
    return;
  }
  cJSON* object = cJSON_AddObjectToObject(root, "stack");
  AddAddress(object, "start", stack->start);
  AddNumber(object, "bytes", stack->bytes);
  cJSON* words = cJSON_AddArrayToObject(object, "words");
  for (const DumpStackWord& word : stack->words) {
    cJSON* item = cJSON_CreateObject();
    AddAddress(item, "address", word.address);
    AddAddress(item, "value", word.value);
    AddText(item, "module", formats::Utf16ToUtf8(word.module));
    AddText(item, "offset", OffsetText(word.offset));
    cJSON_AddItemToArray(words, item);
  }
}

void AddSecondaryData(cJSON* root, const std::vector<formats::SecondaryDataBlock>& blocks) {
  cJSON* list = cJSON_AddArrayToObject(root, "secondary_data");
  for (const formats::SecondaryDataBlock& block : blocks) {
    cJSON* object = cJSON_CreateObject();
    AddText(object, "tag", formats::FormatGuid(block.tag));
    AddNumber(object, "offset", block.offset);
    AddNumber(object, "size", block.size);
    cJSON_AddItemToArray(list, object);
  }
}

void AddCompleteness(cJSON* root, const std::optional<formats::DumpCompleteness>& completeness) {
  if (!completeness) {
    cJSON_AddNullToObject(root, "completeness");
    return;
  }
  cJSON* object = cJSON_AddObjectToObject(root, "completeness");
  cJSON_AddBoolToObject(object, "complete", completeness->complete());
  cJSON_AddBoolToObject(object, "consistent", completeness->consistent);
  AddNumber(object, "expected_size", completeness->expected_size);
}

void AddCrash(cJSON* root, const DumpSummary& summary) {
  const formats::DumpHeader& header = summary.header;
  AddTime(root, "crash_time", header.system_time);
  AddNumber(root, "uptime_ms", header.system_up_time ? std::optional(*header.system_up_time / 10'000) : std::nullopt);
  AddStopCode(root, header);
  AddNumber(root, "processors", header.processors);
  AddNumber(root, "crashing_processor", summary.crashing_processor);
  AddAddress(root, "instruction", header.context ? std::optional(header.context->Rip()) : std::nullopt);
  AddNumber(root, "cr8", summary.cr8);
  AddAddress(root, "thread", summary.thread);
  AddAddress(root, "process", summary.process);
}

}  // namespace

std::string DumpAsJson(const DumpSummary& summary) {
  const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> root(cJSON_CreateObject(), cJSON_Delete);
  const formats::DumpHeader& header = summary.header;
  AddText(root.get(), "file", summary.file);
  AddNumber(root.get(), "size", summary.size);
  AddText(root.get(), "form", FormName(header.type, summary.qualifier));
  AddNumber(root.get(), "dump_type", static_cast<std::uint32_t>(header.type));
  AddText(root.get(), "machine", MachineName(header.machine));
  AddCode(root.get(), "machine_type", header.machine);
  AddNumber(root.get(), "build", header.build);
  AddCrash(root.get(), summary);
  AddHeader(root.get(), header);
  AddModules(root.get(), summary);
  AddStack(root.get(), summary.stack);
  AddSecondaryData(root.get(), summary.secondary_data);
  AddCompleteness(root.get(), summary.completeness);
  const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(root.get()), cJSON_free);
  return text == nullptr ? std::string() : std::string(text.get());
}

}  // namespace varnel::host
