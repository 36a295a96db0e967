#include "set/service_log.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string_view>

#include "set/refusal.h"

namespace benchtv {
namespace {

const char* levelWord(char letter) {
  switch (letter) {
    case 'E':
      return "error";
    case 'I':
      return "info";
    case 'V':
      return "verbose";
  }
  return nullptr;
}

// Cuts what stands before |end| off the front of |rest|, and |end| with it.
std::optional<std::string> upTo(std::string_view end, std::string_view& rest) {
  const std::size_t found = rest.find(end);
  if (found == std::string_view::npos) {
    return std::nullopt;
  }
  std::string front(rest.substr(0, found));
  rest.remove_prefix(found + end.size());
  return front;
}

bool isNumber(const std::string& text, const char* digits) {
  return !text.empty() && text.size() <= 18 && text.find_first_not_of(digits) == std::string::npos;
}

// "[B-LOG][1763700000.123456] main.cpp:42:cspliceMain(): message"
std::optional<JournalFields> prefixedFields(const char* level, std::string_view rest) {
  if (!upTo("[B-LOG][", rest).value_or("x").empty()) {
    return std::nullopt;
  }
  const auto time = upTo("] ", rest);
  const auto file = upTo(":", rest);
  const auto line = upTo(":", rest);
  const auto function = upTo("(): ", rest);
  if (!time || !file || !line || !function) {
    return std::nullopt;
  }
  if (!isNumber(*time, "-.0123456789") || !isNumber(*line, "0123456789")) {
    return std::nullopt;
  }
  return JournalFields{
      {"source", "service"},   {"level", level},
      {"file", *file},         {"line", static_cast<Json::Int64>(std::stoll(*line))},
      {"function", *function}, {"text", std::string(rest)}};
}

}  // namespace

JournalFields serviceLogFields(const std::string& line) {
  const char* level =
      line.size() > 2 && line[1] == ' ' && line[2] == '[' ? levelWord(line[0]) : nullptr;
  if (level) {
    const std::string_view rest = std::string_view(line).substr(2);
    if (auto fields = prefixedFields(level, rest)) {
      return *fields;
    }
    if (rest.substr(0, 7) == "[TRACE ") {
      return {{"source", "service"}, {"level", level}, {"text", std::string(rest)}};
    }
  }
  return {{"source", "service"}, {"text", line}};
}

LogTail::LogTail(const std::filesystem::path& path)
    : file(path), fd(open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0600)) {
  if (!fd) {
    throw Refusal(path.string() + " cannot be opened: " + std::strerror(errno));
  }
}

bool LogTail::read(const std::function<void(const std::string&)>& take) {
  struct stat now {};
  if (fstat(fd.get(), &now) != 0) {
    return true;
  }
  const bool whole = now.st_size >= offset;
  if (!whole) {
    offset = 0;
    unfinished.clear();
    lineSize = 0;
    toSkip = 0;
  }
  std::array<char, 64 * 1024> chunk;
  while (offset < now.st_size) {
    const auto wanted = std::min<std::int64_t>(chunk.size(), now.st_size - offset);
    const ssize_t got = pread(fd.get(), chunk.data(), static_cast<std::size_t>(wanted), offset);
    if (got <= 0) {
      break;
    }
    offset += got;
    const char* at = chunk.data();
    const char* const end = at + got;
    while (const char* feed = static_cast<const char*>(
               std::memchr(at, '\n', static_cast<std::size_t>(end - at)))) {
      append(at, static_cast<std::size_t>(feed - at));
      const std::string line = finishedLine();
      if (toSkip > 0) {
        --toSkip;
      } else {
        take(line);
      }
      at = feed + 1;
    }
    append(at, static_cast<std::size_t>(end - at));
  }
  return whole;
}

void LogTail::append(const char* bytes, std::size_t count) {
  lineSize += count;
  unfinished.append(bytes, std::min(count, kLongestLine - unfinished.size()));
}

std::string LogTail::finishedLine() {
  std::string line = std::move(unfinished);
  unfinished.clear();
  if (lineSize > line.size()) {
    line += " ... (cut: " + std::to_string(lineSize) + " bytes)";
  }
  lineSize = 0;
  return line;
}

}  // namespace benchtv
