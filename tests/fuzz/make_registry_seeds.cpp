// Writes the seeds of the registry's fuzz targets into a corpus folder: make_registry_seeds tests/fuzz/corpus
#include <fstream>
#include <string>

#include "copy_builder.h"

namespace {

using B = varnel::embedded::CopyBuilder;

void Write(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// A record of the row that registry_record_fuzz reads.
std::string Row(const std::string& place, const std::string& record) {
  return place + static_cast<char>(record.size()) + record;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::string copies = std::string(argv[1]) + "/registry_copy_fuzz/";
  Write(copies + "roots", B().Header().Roots().Build());
  Write(copies + "small", varnel::embedded::SmallCopy());
  Write(copies + "deep", B().Header(3, 4, 5)
                             .Roots(9)
                             .Record(B::Place(1, 'K', B::Hash(u"A")), B::Key(3, u"a"))
                             .Record(B::Place(3, 'K', B::Hash(u"B")), B::Key(4, u"B", 1, 1))
                             .Record(B::Place(4, 'K', B::Hash(u"C")), B::Key(5, u"c"))
                             .Record(B::Place(4, 'V', B::Hash(u"")), B::Value(0, 3, u"", std::string(300, 'd')))
                             .Build());
  const std::string records = std::string(argv[1]) + "/registry_record_fuzz/";
  const std::string key = B::Key(40, u"A", 2);
  const std::string value = B::Value(0, 1, u"v", "data");
  Write(records + "key", key);
  Write(records + "value", value);
  Write(records + "store", B::Store(1, 50));
  Write(records + "rows", Row(B::Place(6, 'K', B::Hash(u"A") & 3), key) +
                              Row(B::Place(40, 'V', B::Hash(u"V") & 3), value) +
                              Row(B::Place(40, 'K', B::Hash(u"B") & 3), B::Key(41, u"B", 0, 1)));
  Write(records + "loop", Row(B::Place(40, 'K', 1), B::Key(41, u"A")) + Row(B::Place(41, 'K', 1), B::Key(40, u"B")));
  return 0;
}
