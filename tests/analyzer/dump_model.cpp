#include "tests/analyzer/dump_model.h"

#include <algorithm>

namespace varnel::testing {
namespace {

bool In(const std::vector<std::u16string>& list, const std::u16string& text) {
  return std::count(list.begin(), list.end(), text) != 0;
}

}  // namespace

std::vector<std::u16string> DumpModel::NewestFirst() const {
  std::vector<std::u16string> paths;
  for (const auto& [path, dump] : dumps) paths.push_back(path);  // the lesser path first
  std::stable_sort(paths.begin(), paths.end(), [this](const std::u16string& a, const std::u16string& b) {
    return dumps.at(a).created > dumps.at(b).created;
  });
  return paths;
}

void DumpModel::Record(const std::u16string& path, ModelKind* kind) {
  const ModelDump& dump = dumps.at(path);
  if (!dump.readable) return;
  if (!kind->marker) kind->marker.emplace();
  if (!dump.identity.empty() && !In(*kind->marker, dump.identity)) kind->marker->push_back(dump.identity);
}

bool DumpModel::FirstStep(ModelKind* kind) {
  if (!enabled || !has_folder || dumps.empty()) {
    kind->marker.emplace();
    return false;
  }
  std::vector<std::u16string> paths = NewestFirst();
  if (paths.size() > 5) {
    for (std::size_t i = 5; i < paths.size(); ++i) Record(paths[i], kind);
    paths.resize(5);
  } else {
    kind->marker.emplace();
    std::sort(paths.begin(), paths.end());
  }
  ModelBatch batch;
  for (const std::u16string& path : paths) {
    const ModelDump& dump = dumps.at(path);
    if (dump.readable && !dump.identity.empty()) batch.files.push_back(dump.identity);
  }
  if (batch.files.empty()) return false;
  batch.total = static_cast<std::uint32_t>(batch.files.size());
  batch.count = 0;
  kind->batch = batch;
  return true;
}

bool DumpModel::IsToDo(const ModelKind& kind, const std::u16string& identity) {
  if (kind.completed || !kind.batch || identity.empty()) return false;
  return In(kind.batch->files, identity) && !In(kind.batch->done, identity);
}

bool DumpModel::Pass(DumpKind which, ModelKind* kind, bool first_run, const GoesOn& goes_on,
                     std::vector<ToldDump>* told) {
  if (!enabled || !has_folder) return true;
  std::vector<std::u16string> offered;
  for (const std::u16string& path : NewestFirst()) {
    const ModelDump& dump = dumps.at(path);
    if (dump.readable &&
        (dump.identity.empty() || !In(kind->marker.value_or(std::vector<std::u16string>()), dump.identity))) {
      offered.push_back(path);
    }
  }
  for (const std::u16string& path : offered) {
    if (!goes_on(RunStep::kBeforeReport)) return false;
    const std::u16string identity = dumps.at(path).identity;
    const bool of_batch = first_run && IsToDo(*kind, identity);
    told->push_back({which, path, !of_batch});
    if (!goes_on(RunStep::kBehindReport)) return false;
    Record(path, kind);
    if (!goes_on(RunStep::kBehindMarker)) return false;
    if (!of_batch) continue;
    kind->batch->done.push_back(identity);
    if (kind->batch->count) ++*kind->batch->count;
    if (!goes_on(RunStep::kBehindRecord)) return false;
    if (kind->batch->IsFinished()) {
      kind->batch.reset();
      kind->completed = true;
    }
  }
  return true;
}

DumpRunOutcome DumpModel::Run(const GoesOn& goes_on) {
  DumpRunOutcome outcome;
  const bool first_no = !no_symbol.marker;
  const bool first_with = !with_symbol.marker;
  const auto unfinished = [](const ModelKind& kind) {
    return !kind.completed && kind.batch && kind.batch->IsRunning();
  };
  if (first_no) outcome.firstRunNoSymbol = FirstStep(&no_symbol);
  if (first_with) outcome.firstRunWithSymbol = FirstStep(&with_symbol);
  if (!first_no && !first_with) {
    outcome.firstRunNoSymbol = unfinished(no_symbol);
    outcome.firstRunWithSymbol = unfinished(with_symbol);
  }
  if (Pass(DumpKind::kNoSymbol, &no_symbol, outcome.firstRunNoSymbol, goes_on, &outcome.told)) {
    Pass(DumpKind::kWithSymbol, &with_symbol, outcome.firstRunWithSymbol, goes_on, &outcome.told);
  }
  return outcome;
}

}  // namespace varnel::testing
