// Lists of texts as the registry keeps them: each with its NUL, and one NUL behind the last. No state: any thread may
// call.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace varnel {

/// Adds the texts up to the first empty one to a list; what stands behind that is left out. The last text needs no NUL.
void DecodeMultiString(std::u16string_view stored, std::vector<std::u16string>* list);

/// An empty list is one NUL.
std::u16string EncodeMultiString(const std::vector<std::u16string>& list);

}  // namespace varnel
