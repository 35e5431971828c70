#include "formats/dump/dump_problem.h"

namespace varnel::formats {

std::string_view DumpProblemText(DumpProblem problem) noexcept {
  switch (problem) {
    case DumpProblem::kNone:
      return "the dump can be read";
    case DumpProblem::kTooShort:
      return "the file is too short for the header of a kernel dump";
    case DumpProblem::kNotADump:
      return "the file does not begin as a kernel dump does";
    case DumpProblem::kRanges:
      return "the dump keeps its pages in ranges (types 8 to 10), which are not read";
    case DumpProblem::kUnknownType:
      return "the type of the dump is not known";
    case DumpProblem::kDamagedBody:
      return "what tells where the pages of the dump stand is damaged";
  }
  return {};
}

}  // namespace varnel::formats
