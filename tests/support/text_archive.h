// Keeps the module's texts for the test that holds them to their schemas.
#pragma once

#include <string_view>

namespace varnel {

/// Appends texts, each a line, to a file of this process in the folder that VARNEL_TEXTS_DIR names; without it nothing
/// is kept. Any thread may call.
void ArchiveTexts(std::string_view lines);

}  // namespace varnel
