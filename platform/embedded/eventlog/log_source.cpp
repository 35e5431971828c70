#include "platform/embedded/eventlog/log_source.h"

namespace varnel::embedded {

LogRecordBuilder::Result LogRecordBuilder::Build(std::string_view xml, formats::ElementOrigin origin,
                                                 const LogFilter& filter, LogRecord* record) {
  if (!document_.Parse(xml)) return Result::kBad;
  const tinyxml2::XMLElement& event = *document_.event();
  const auto identity = formats::IdentityOf(event);
  if (!identity) return Result::kBad;
  if (filter.query && !filter.query->Matches(event, filter.now)) return Result::kNotWanted;
  record->record_id = identity->record_id;
  record->time = identity->time_created;
  record->provider = identity->provider_name;
  record->xml.clear();
  formats::AppendElement(event, origin, &record->xml);
  return Result::kGood;
}

}  // namespace varnel::embedded
