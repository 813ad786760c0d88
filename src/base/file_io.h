// Whole-file reads and writes: the only place where the core touches files. Parsers and
// encoders work on spans; tools read their inputs whole, call them, and write results.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vellmark {

// Reads a file whole. An unreadable file raises Error(Io) naming the path and the reason.
std::vector<std::uint8_t> readWholeFile(const std::string& path);

// Creates or truncates `path` and writes `data` in one piece. Returns false when the file
// cannot be opened or written; the tools pass over that silently, as they are meant to.
bool writeWholeFile(const std::string& path, std::span<const std::uint8_t> data);

// Writes several pieces one after another into one new file (header, then pixels, ...).
bool writeWholeFile(const std::string& path, std::initializer_list<std::span<const std::uint8_t>> pieces);

// Writes text (no newline translation) into a new file.
bool writeTextFile(const std::string& path, const std::string& text);

}  // namespace vellmark
