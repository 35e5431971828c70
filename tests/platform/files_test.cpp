// Opening, reading and writing files.
#include "platform/files.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "temp_folder.h"

namespace varnel::platform {
namespace {

using CreateFile = FileTest;
using OpenedFile = FileTest;

TEST_F(CreateFile, AMissingFileAnswers2AndAMissingFolder3) {
  EXPECT_EQ(OpenError(folder_ / u"none", kGenericRead, kOpenExisting), kErrorFileNotFound);
  EXPECT_EQ(OpenError(folder_ / u"none\\none", kGenericRead, kOpenExisting), kErrorPathNotFound);
  EXPECT_EQ(OpenError(folder_ / u"none\\new", kGenericWrite, kCreateAlways), kErrorPathNotFound);
  EXPECT_EQ(OpenError(folder_ / u"none", kGenericWrite, kTruncateExisting), kErrorFileNotFound);
}

TEST_F(CreateFile, ACreatedFileIsEmptyAndThere) {
  EXPECT_EQ(OpenError(folder_ / u"new", kGenericWrite, kCreateNew), kErrorSuccess);
  EXPECT_EQ(ReadText(folder_ / u"new"), "");
}

TEST_F(CreateFile, CreateNewOnAPresentFileAnswers80) {
  WriteText(folder_ / u"file", "x");
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericWrite, kCreateNew), kErrorFileExists);
  EXPECT_EQ(ReadText(folder_ / u"file"), "x");
}

TEST_F(CreateFile, CreateAlwaysEmptiesAPresentFileAndTells183) {
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericWrite, kCreateAlways), kErrorSuccess);
  WriteText(folder_ / u"file", "content");
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericWrite, kCreateAlways), kErrorAlreadyExists);
  EXPECT_EQ(ReadText(folder_ / u"file"), "");
}

TEST_F(CreateFile, OpenAlwaysKeepsAPresentFileAndTells183) {
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericWrite, kOpenAlways), kErrorSuccess);
  WriteText(folder_ / u"file", "content");
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericWrite, kOpenAlways), kErrorAlreadyExists);
  EXPECT_EQ(ReadText(folder_ / u"file"), "content");
}

TEST_F(CreateFile, TruncateExistingEmptiesAPresentFile) {
  WriteText(folder_ / u"file", "content");
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericWrite, kTruncateExisting), kErrorSuccess);
  EXPECT_EQ(ReadText(folder_ / u"file"), "");
}

TEST_F(CreateFile, AFolderCantBeOpenedAsAFile) {
  EXPECT_EQ(OpenError(folder_.path(), kGenericRead, kOpenExisting), kErrorAccessDenied);
  EXPECT_EQ(OpenError(folder_.path(), kGenericWrite, kOpenAlways), kErrorAccessDenied);
}

TEST_F(CreateFile, AnUnknownDispositionAnswers87) {
  EXPECT_EQ(OpenError(folder_ / u"file", kGenericRead, 9), kErrorInvalidParameter);
}

TEST_F(CreateFile, AFileOnTheWayIsNoFolder) {
  WriteText(folder_ / u"file", "x");
  EXPECT_EQ(OpenError(folder_ / u"file\\below", kGenericRead, kOpenExisting), kErrorPathNotFound);
  EXPECT_EQ(Attributes(folder_ / u"file\\below"), kInvalidFileAttributes);
  EXPECT_EQ(LastError(), kErrorPathNotFound);
}

TEST_F(OpenedFile, ReadsBackWhatWasWrittenFromThePointerOn) {
  const HANDLE file = OpenFile(folder_ / u"file", kGenericRead | kGenericWrite, 0, kCreateNew);
  std::uint32_t count = 0;
  EXPECT_TRUE(FilesPort().WriteFile(file, "0123456789", 10, &count, nullptr));
  EXPECT_EQ(count, 10u);
  EXPECT_EQ(FilesPort().SetFilePointer(file, 2, nullptr, kFileBegin), 2u);
  char buffer[8] = {};
  EXPECT_TRUE(FilesPort().ReadFile(file, buffer, 3, &count, nullptr));
  EXPECT_EQ(std::string(buffer, count), "234");
  EXPECT_TRUE(FilesPort().ReadFile(file, buffer, 8, &count, nullptr));
  EXPECT_EQ(std::string(buffer, count), "56789");
  EXPECT_TRUE(FilesPort().ReadFile(file, buffer, 8, &count, nullptr));
  EXPECT_EQ(count, 0u);
  CloseFile(file);
}

TEST_F(OpenedFile, ThePointerMovesFromTheBeginTheCurrentPlaceAndTheEnd) {
  WriteText(folder_ / u"file", "0123456789");
  const HANDLE file = OpenFile(folder_ / u"file", kGenericRead, 0);
  EXPECT_EQ(FilesPort().SetFilePointer(file, 4, nullptr, kFileBegin), 4u);
  EXPECT_EQ(FilesPort().SetFilePointer(file, -1, nullptr, kFileCurrent), 3u);
  EXPECT_EQ(FilesPort().SetFilePointer(file, -2, nullptr, kFileEnd), 8u);
  EXPECT_EQ(FilesPort().SetFilePointer(file, 5, nullptr, kFileEnd), 15u);
  std::int32_t high = 1;
  EXPECT_EQ(FilesPort().SetFilePointer(file, 7, &high, kFileBegin), 7u);
  EXPECT_EQ(high, 1);
  ForgetError();
  EXPECT_EQ(FilesPort().SetFilePointer(file, -1, nullptr, kFileBegin), kInvalidFileSize);
  EXPECT_EQ(LastError(), 131u);
  CloseFile(file);
}

TEST_F(OpenedFile, ThePointerMovesBy64BitsAndTellsWhereItStands) {
  WriteText(folder_ / u"file", "0123456789");
  const HANDLE file = OpenFile(folder_ / u"file", kGenericRead, 0);
  std::int64_t position = 0;
  EXPECT_TRUE(FilesPort().SetFilePointerEx(file, 0x1'0000'0007, &position, kFileBegin));
  EXPECT_EQ(position, 0x1'0000'0007);
  EXPECT_TRUE(FilesPort().SetFilePointerEx(file, -2, nullptr, kFileEnd));
  char buffer[4] = {};
  std::uint32_t count = 0;
  EXPECT_TRUE(FilesPort().ReadFile(file, buffer, 4, &count, nullptr));
  EXPECT_EQ(std::string(buffer, count), "89");
  ForgetError();
  EXPECT_FALSE(FilesPort().SetFilePointerEx(file, -1, &position, kFileBegin));
  EXPECT_EQ(LastError(), 131u);
  CloseFile(file);
}

TEST_F(OpenedFile, OneLookByNameGivesAttributesTimesAndSize) {
  WriteText(folder_ / u"file", "0123456789");
  const HANDLE file = OpenFile(folder_ / u"file", kGenericRead | kGenericWrite, 0);
  const FILETIME write = ToFileTime(133000000001234567);
  EXPECT_TRUE(FilesPort().SetFileTime(file, nullptr, nullptr, &write));
  FILETIME creation{};
  EXPECT_TRUE(FilesPort().GetFileTime(file, &creation, nullptr, nullptr));
  CloseFile(file);
  WIN32_FILE_ATTRIBUTE_DATA data{};
  ASSERT_TRUE(FilesPort().GetFileAttributesExW((folder_ / u"file").c_str(), &data));
  EXPECT_EQ(data.dwFileAttributes & kFileAttributeDirectory, 0u);
  EXPECT_EQ(ToUint64(data.ftCreationTime), ToUint64(creation));
  EXPECT_EQ(ToUint64(data.ftLastWriteTime), ToUint64(write));
  EXPECT_EQ(data.nFileSizeLow, 10u);
  EXPECT_EQ(data.nFileSizeHigh, 0u);
  EXPECT_FALSE(FilesPort().GetFileAttributesExW((folder_ / u"none").c_str(), &data));
  EXPECT_EQ(LastError(), kErrorFileNotFound);
}

TEST_F(OpenedFile, AnOpenThatSucceedsLeavesTheLastErrorAtZero) {
  WriteText(folder_ / u"file", "");
  SystemPort().SetLastError(kErrorNoMoreFiles);
  const HANDLE file = OpenFile(folder_ / u"file", kGenericRead, 0);
  EXPECT_EQ(LastError(), kErrorSuccess);
  char buffer[4] = {};
  std::uint32_t count = 9;
  EXPECT_TRUE(FilesPort().ReadFile(file, buffer, 4, &count, nullptr));
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(LastError(), kErrorSuccess) << "nor does a read of nothing say that something failed";
  CloseFile(file);
}

TEST_F(OpenedFile, AReadAtAPlaceBehindTheEndAnswers38) {
  WriteText(folder_ / u"file", "0123456789");
  const HANDLE file = OpenFile(folder_ / u"file", kGenericRead, 0);
  char buffer[4] = {};
  std::uint32_t count = 0;
  OVERLAPPED place{};
  place.Offset = 8;
  EXPECT_TRUE(FilesPort().ReadFile(file, buffer, 4, &count, &place));
  EXPECT_EQ(std::string(buffer, count), "89");
  place.Offset = 10;
  ForgetError();
  EXPECT_FALSE(FilesPort().ReadFile(file, buffer, 4, &count, &place));
  EXPECT_EQ(LastError(), kErrorHandleEof);
  CloseFile(file);
}

TEST_F(OpenedFile, AWriteAtThePlaceOfAllOnesGoesToTheEndWhereverThePointerIs) {
  WriteText(folder_ / u"file", "begin");
  const HANDLE file = OpenFile(folder_ / u"file", kGenericAll, kShareAll, kOpenAlways);
  OVERLAPPED at_end{};
  at_end.Offset = at_end.OffsetHigh = ~0u;
  std::uint32_t count = 0;
  EXPECT_TRUE(FilesPort().WriteFile(file, " one", 4, &count, &at_end));
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(FilesPort().SetFilePointer(file, 0, nullptr, kFileBegin), 0u);
  EXPECT_TRUE(FilesPort().WriteFile(file, " two", 4, &count, &at_end));
  CloseFile(file);
  EXPECT_EQ(ReadText(folder_ / u"file"), "begin one two");
}

TEST_F(OpenedFile, TwoHandlesThatAppendDoNotOverwriteEachOther) {
  const HANDLE first = OpenFile(folder_ / u"file", kGenericAll, kShareAll, kOpenAlways);
  const HANDLE second = OpenFile(folder_ / u"file", kGenericAll, kShareAll, kOpenAlways);
  OVERLAPPED at_end{};
  at_end.Offset = at_end.OffsetHigh = ~0u;
  std::uint32_t count = 0;
  for (const HANDLE file : {first, second, first, second}) {
    EXPECT_TRUE(FilesPort().WriteFile(file, file == first ? "a" : "b", 1, &count, &at_end));
  }
  CloseFile(first);
  CloseFile(second);
  EXPECT_EQ(ReadText(folder_ / u"file"), "abab");
}

TEST_F(OpenedFile, TheSizeIsToldInBothForms) {
  WriteText(folder_ / u"file", "0123456789");
  const HANDLE file = OpenFile(folder_ / u"file", kGenericRead, 0);
  std::uint32_t high = 7;
  std::uint64_t size = 0;
  EXPECT_EQ(FilesPort().GetFileSize(file, &high), 10u);
  EXPECT_EQ(high, 0u);
  EXPECT_EQ(FilesPort().GetFileSize(file, nullptr), 10u);
  EXPECT_TRUE(FilesPort().GetFileSizeEx(file, &size));
  EXPECT_EQ(size, 10u);
  CloseFile(file);
}

TEST_F(OpenedFile, TheEndIsSetAtThePointer) {
  WriteText(folder_ / u"file", "0123456789");
  const HANDLE file = OpenFile(folder_ / u"file", kGenericWrite, 0);
  FilesPort().SetFilePointer(file, 4, nullptr, kFileBegin);
  EXPECT_TRUE(FilesPort().SetEndOfFile(file));
  EXPECT_TRUE(FilesPort().FlushFileBuffers(file));
  CloseFile(file);
  EXPECT_EQ(ReadText(folder_ / u"file"), "0123");
}

TEST_F(OpenedFile, WhatItWasNotOpenedForAnswers5) {
  WriteText(folder_ / u"file", "x");
  char buffer[4] = {};
  std::uint32_t count = 0;
  const HANDLE reader = OpenFile(folder_ / u"file", kGenericRead, kShareAll);
  ForgetError();
  EXPECT_FALSE(FilesPort().WriteFile(reader, "y", 1, &count, nullptr));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  ForgetError();
  EXPECT_FALSE(FilesPort().SetEndOfFile(reader));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  CloseFile(reader);
  const HANDLE writer = OpenFile(folder_ / u"file", kGenericWrite, kShareAll);
  ForgetError();
  EXPECT_FALSE(FilesPort().ReadFile(writer, buffer, 4, &count, nullptr));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  CloseFile(writer);
}

TEST_F(OpenedFile, EveryCallOnAClosedOrInvalidHandleAnswers6) {
  const HANDLE closed = OpenFile(folder_ / u"file", kGenericWrite, 0, kCreateNew);
  CloseFile(closed);
  char buffer[4] = {};
  std::uint32_t count = 0;
  std::uint64_t size = 0;
  FILETIME time{};
  for (const HANDLE file : {closed, kInvalidHandleValue}) {
    const auto fails_with_6 = [](bool result) {
      const bool right = !result && LastError() == kErrorInvalidHandle;
      ForgetError();
      return right;
    };
    ForgetError();
    EXPECT_TRUE(fails_with_6(FilesPort().ReadFile(file, buffer, 4, &count, nullptr)));
    EXPECT_TRUE(fails_with_6(FilesPort().WriteFile(file, buffer, 4, &count, nullptr)));
    EXPECT_TRUE(fails_with_6(FilesPort().GetFileSize(file, nullptr) != kInvalidFileSize));
    EXPECT_TRUE(fails_with_6(FilesPort().GetFileSizeEx(file, &size)));
    EXPECT_TRUE(fails_with_6(FilesPort().SetFilePointer(file, 0, nullptr, kFileBegin) != kInvalidFileSize));
    EXPECT_TRUE(fails_with_6(FilesPort().SetEndOfFile(file)));
    EXPECT_TRUE(fails_with_6(FilesPort().GetFileTime(file, &time, nullptr, nullptr)));
  }
}

TEST_F(OpenedFile, ANarrowStreamWritesReadsAndAppends) {
  const std::u16string wide = folder_ / u"file";
  const std::string narrow(wide.begin(), wide.end());
  std::FILE* stream = FilesPort().OpenNarrow(narrow.c_str(), "wb");
  ASSERT_NE(stream, nullptr);
  EXPECT_GE(std::fputs("one", stream), 0);
  EXPECT_EQ(std::fclose(stream), 0);
  stream = FilesPort().OpenNarrow(narrow.c_str(), "ab");
  ASSERT_NE(stream, nullptr);
  EXPECT_GE(std::fputs(" two", stream), 0);
  EXPECT_EQ(std::fclose(stream), 0);
  stream = FilesPort().OpenNarrow(narrow.c_str(), "rb");
  ASSERT_NE(stream, nullptr);
  char buffer[16] = {};
  EXPECT_EQ(std::fseek(stream, 0, SEEK_END), 0);
  EXPECT_EQ(std::ftell(stream), 7);
  EXPECT_EQ(std::fseek(stream, 1, SEEK_SET), 0);
  EXPECT_EQ(std::fread(buffer, 1, sizeof buffer, stream), 6u);
  EXPECT_EQ(std::string(buffer), "ne two");
  EXPECT_EQ(std::fclose(stream), 0);
}

TEST_F(OpenedFile, ANarrowStreamOnAMissingFileIsNone) {
  const std::u16string wide = folder_ / u"none";
  const std::string narrow(wide.begin(), wide.end());
  EXPECT_EQ(FilesPort().OpenNarrow(narrow.c_str(), "rb"), nullptr);
}

}  // namespace
}  // namespace varnel::platform
