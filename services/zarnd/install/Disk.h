/// Files and folders, with failures of this service.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

namespace orvane::plexa::zarnd {

/// Makes a folder and those above it, for the user alone where they are missing. Throws `Failure`.
void MakeFolders(const std::filesystem::path& inFolder);
/// Writes all bytes to an open file, whose name is for the sentence. Throws `Failure`.
void WriteAll(int inFile, std::span<const std::byte> inBytes, const std::string& inName);
/// Writes a file and waits until the disk has it. Throws `Failure`.
void WriteFile(const std::filesystem::path& inPath, const std::string& inText);
/// The text of a file of `inMaxBytes` at most; nothing when there is none that can be read.
std::optional<std::string> ReadFile(const std::filesystem::path& inPath, std::size_t inMaxBytes);
/// Waits until the disk has everything of the file system on which the folder lies: one wait instead of one a
/// file. Throws `Failure`.
void SyncFileSystem(const std::filesystem::path& inFolder);
/// Waits until the disk has the entries of a folder, as well as it can: what has been changed there counts
/// already, and nobody could be helped by an error.
void SyncFolder(const std::filesystem::path& inFolder) noexcept;

}  // namespace orvane::plexa::zarnd
