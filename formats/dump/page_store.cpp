#include "formats/dump/page_store.h"

#include "formats/dump/bitmap_store.h"
#include "formats/dump/run_store.h"

namespace varnel::formats {

DumpProblem OpenPageStore(const DumpSource& source, const DumpHeader& header, std::unique_ptr<PageStore>* out) {
  out->reset();
  switch (header.type) {
    case DumpType::kFull:
      return RunStore::Open(header, out);
    case DumpType::kSummary:
    case DumpType::kBitmapFull:
    case DumpType::kBitmapKernel:
    case DumpType::kAutomatic:
      return BitmapStore::Open(source, out);
    case DumpType::kHeaderOnly:
    case DumpType::kTriage:
      return DumpProblem::kNone;
    case DumpType::kRangesKernel:
    case DumpType::kRangesKernelAndUser:
    case DumpType::kRangesComplete:
      return DumpProblem::kRanges;
  }
  return DumpProblem::kUnknownType;
}

}  // namespace varnel::formats
