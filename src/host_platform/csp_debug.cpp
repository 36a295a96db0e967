// The logging library: lines of the service and of the host platform, to standard error and, when
// asked, to a file.
//
// Environment, read by cspDebugInit() but for the file, which is read with the first line:
//   AIRPLAY_LOG_LEVEL  off, error, info (the default) or verbose
//   AIRPLAY_LOG_FILE   a file that gets the lines too; at kFileBytes it is renamed to NAME.1.EXT
//   and
//                      begun anew, and kOldFiles of the renamed ones are kept
//
// A line leaves unchanged, in one write(2). On a terminal it is coloured by level. Elsewhere it
// begins with a letter and a blank, so that a reader knows the level: "E " error, "I " info, "V "
// verbose, "H [host] " a line of the host platform itself. Of a text with several lines only the
// first has them. The text gets a line feed unless it ends in one.
#include "csp_debug.h"

#include <poll.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host_log.h"

namespace {

constexpr char kLevelVariable[] = "AIRPLAY_LOG_LEVEL";
constexpr char kFileVariable[] = "AIRPLAY_LOG_FILE";
constexpr std::size_t kFileBytes = std::size_t{5} * 1024 * 1024;
constexpr std::size_t kOldFiles = 3;
constexpr char kHostName[] = "host";

std::atomic<int> wantedLevel{CSP_DEBUG_INFO};

constexpr char kDefaultLevel[] = "info";

struct LevelLook {
  int level;
  const char* word;  // in the environment
  spdlog::level::level_enum lineLevel;
  spdlog::level::level_enum hostLevel;  // what shows of the host platform's lines
};

constexpr LevelLook kLevels[] = {
    {0, "off", spdlog::level::off, spdlog::level::off},
    {CSP_DEBUG_ERROR, "error", spdlog::level::err, spdlog::level::warn},
    {CSP_DEBUG_INFO, "info", spdlog::level::info, spdlog::level::info},
    {CSP_DEBUG_VERBOSE, "verbose", spdlog::level::trace, spdlog::level::trace},
};

bool isHost(const spdlog::details::log_msg& message) { return message.logger_name == kHostName; }

void append(spdlog::memory_buf_t& line, spdlog::string_view_t text) {
  line.append(text.data(), text.data() + text.size());
}

void appendText(spdlog::memory_buf_t& line, const spdlog::details::log_msg& message) {
  if (isHost(message)) {
    append(line, "[host] ");
  }
  append(line, message.payload);
}

bool endsLine(spdlog::string_view_t text) {
  return text.size() > 0 && text.data()[text.size() - 1] == '\n';
}

// For files and pipes.
class LetteredLine final : public spdlog::formatter {
 public:
  void format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& line) override {
    append(line, letter(message));
    appendText(line, message);
    if (!endsLine(message.payload)) {
      line.push_back('\n');
    }
  }
  std::unique_ptr<formatter> clone() const override { return std::make_unique<LetteredLine>(); }

 private:
  static const char* letter(const spdlog::details::log_msg& message) {
    if (isHost(message)) {
      return "H ";
    }
    if (message.level == spdlog::level::err) {
      return "E ";
    }
    return message.level == spdlog::level::info ? "I " : "V ";
  }
};

// For terminals.
class ColouredLine final : public spdlog::formatter {
 public:
  void format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& line) override {
    append(line, colour(message));
    appendText(line, message);
    append(line, "\033[0m");
    if (!endsLine(message.payload)) {
      line.push_back('\n');
    }
  }
  std::unique_ptr<formatter> clone() const override { return std::make_unique<ColouredLine>(); }

 private:
  static const char* colour(const spdlog::details::log_msg& message) {
    if (isHost(message)) {
      return "\033[33m";
    }
    if (message.level == spdlog::level::err) {
      return "\033[31m";
    }
    return message.level == spdlog::level::info ? "\033[0m" : "\033[2m";
  }
};

// One write(2) a line: spdlog's own sink buffers, and writes a coloured line in pieces.
class StandardErrorSink final : public spdlog::sinks::base_sink<std::mutex> {
 public:
  explicit StandardErrorSink(std::unique_ptr<spdlog::formatter> look)
      : base_sink(std::move(look)) {}

 private:
  void sink_it_(const spdlog::details::log_msg& message) override {
    spdlog::memory_buf_t line;
    formatter_->format(message, line);
    const char* rest = line.data();
    std::size_t size = line.size();
    while (size > 0) {
      const ssize_t written = write(STDERR_FILENO, rest, size);
      if (written >= 0) {
        rest += written;
        size -= static_cast<std::size_t>(written);
      } else if (errno == EAGAIN) {
        pollfd full{STDERR_FILENO, POLLOUT, 0};
        (void)poll(&full, 1, -1);
      } else if (errno != EINTR) {
        return;  // nobody can be told
      }
    }
  }
  void flush_() override {}
};

// Never destroyed: threads of the libraries log until the very end of the process.
struct Loggers {
  Loggers();

  spdlog::sink_ptr standardError;
  std::unique_ptr<spdlog::logger> service;
  std::unique_ptr<spdlog::logger> host;
};

Loggers::Loggers() {
  std::unique_ptr<spdlog::formatter> look;
  if (isatty(STDERR_FILENO) == 1) {
    look = std::make_unique<ColouredLine>();
  } else {
    look = std::make_unique<LetteredLine>();
  }
  std::vector<spdlog::sink_ptr> sinks{std::make_shared<StandardErrorSink>(std::move(look))};

  std::string problem;
  if (const char* file = std::getenv(kFileVariable)) {
    try {
      sinks.push_back(
          std::make_shared<spdlog::sinks::rotating_file_sink_mt>(file, kFileBytes, kOldFiles));
      sinks.back()->set_formatter(std::make_unique<LetteredLine>());
    } catch (const spdlog::spdlog_ex& error) {
      problem = error.what();
    }
  }

  service = std::make_unique<spdlog::logger>("service", sinks.begin(), sinks.end());
  service->set_level(spdlog::level::trace);  // cspDebugCheckLevelGetFrameAndChunk() has decided
  service->flush_on(spdlog::level::trace);
  host = std::make_unique<spdlog::logger>(kHostName, sinks.begin(), sinks.end());
  host->flush_on(spdlog::level::trace);
  if (!problem.empty()) {
    host->warn("log: {}: lines go to standard error only; set {} to a file that can be written",
               problem, kFileVariable);
  }
}

Loggers& loggers() {
  static Loggers& loggers = *new Loggers;
  return loggers;
}

}  // namespace

namespace host_platform {

spdlog::logger& hostLog() { return *loggers().host; }

}  // namespace host_platform

void cspDebugInit() {
  const char* variable = std::getenv(kLevelVariable);
  const std::string_view word = variable ? variable : kDefaultLevel;
  for (const LevelLook& look : kLevels) {
    if (word == look.word) {
      wantedLevel.store(look.level, std::memory_order_relaxed);
      loggers().host->set_level(look.hostLevel);
      return;
    }
  }
  loggers().host->warn("log: {} is \"{}\": use off, error, info or verbose; {} stays",
                       kLevelVariable, word, kDefaultLevel);
}

int cspDebugCheckLevelGetFrameAndChunk(const char* /*module*/, int level, void** frame,
                                       void** chunk) {
  if (level > wantedLevel.load(std::memory_order_relaxed)) {
    return 0;
  }
  // The output call is not told the level: the frame carries it there.
  *frame = reinterpret_cast<void*>(static_cast<std::intptr_t>(level));
  *chunk = nullptr;
  return 1;
}

void cspDebugOutput0(void* frame, void* /*chunk*/, const char* text) {
  const auto level = reinterpret_cast<std::intptr_t>(frame);
  for (const LevelLook& look : kLevels) {
    if (look.level == level) {
      loggers().service->log(look.lineLevel, spdlog::string_view_t(text, std::strlen(text)));
    }
  }
}

const char* blog_base_name(const char* path) {
  const char* slash = std::strrchr(path, '/');
  return slash ? slash + 1 : path;
}
