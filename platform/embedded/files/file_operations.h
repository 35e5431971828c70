// What is done to files and folders by their names: making, deleting, copying, moving, and whole trees. All calls give
// 0 or a Win32 error. Any thread may call.
#pragma once

#include "platform/embedded/files/file_opener.h"

namespace varnel::embedded {

std::uint32_t MakeFolder(const FileOpener& opener, std::u16string_view path);
/// 145 for a folder with content, 267 for a file.
std::uint32_t RemoveFolder(const FileOpener& opener, std::u16string_view path);
/// 32 for a file that is in use by somebody who does not share deleting, 5 for a read-only one, a folder, or a loaded
/// library.
std::uint32_t DeleteOneFile(const FileOpener& opener, std::u16string_view path);
/// Content, attributes and write time.
std::uint32_t CopyOneFile(const FileOpener& opener, std::u16string_view from, std::u16string_view to,
                          bool fail_if_exists);
/// A file or a folder, to a name in the same drive; a file also to another drive when the flags say so.
std::uint32_t Move(const FileOpener& opener, std::u16string_view from, std::u16string_view to, std::uint32_t flags);
/// Asks the next boot to delete a present file or empty folder.
std::uint32_t DeleteAtNextBoot(const FileOpener& opener, std::u16string_view path);

/// Every missing folder of the path; 0 too when it is there already.
std::uint32_t MakeFolders(const FileOpener& opener, std::u16string_view path);
/// The folder with all that the machine shows in it; 0 too when there is none. Stops at the first that can't be
/// removed.
std::uint32_t RemoveTree(const FileOpener& opener, std::u16string_view path);

}  // namespace varnel::embedded
