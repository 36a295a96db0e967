#include "control/run_folder.h"

#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <stdexcept>

namespace benchtv {

namespace {

constexpr std::string_view kNameCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-";

std::filesystem::path folderOfAll() {
  const char* runtimeFolder = std::getenv("XDG_RUNTIME_DIR");
  if (runtimeFolder && std::filesystem::path(runtimeFolder).is_absolute() &&
      access(runtimeFolder, W_OK) == 0) {
    return std::filesystem::path(runtimeFolder) / "benchtv";
  }
  return "/tmp/benchtv-" + std::to_string(getuid());
}

}  // namespace

RunFolder RunFolder::ofName(const std::string& name) {
  if (name.empty() || name.front() == '.' || name.front() == '-' ||
      name.find_first_not_of(kNameCharacters) != std::string::npos) {
    throw std::runtime_error(
        "\"" + name +
        "\" cannot name a bench TV: use letters, digits, '.', '_' and '-', and "
        "begin with a letter or digit");
  }

  RunFolder run(folderOfAll() / name);
  if (run.keeperSocket().native().size() >= sizeof(sockaddr_un::sun_path)) {
    throw std::runtime_error(
        "the path " + run.keeperSocket().native() + " is too long for a socket (" +
        std::to_string(sizeof(sockaddr_un::sun_path) - 1) +
        " bytes at most): choose a shorter name, or a shorter XDG_RUNTIME_DIR");
  }
  return run;
}

std::string RunFolder::busAddress() const {
  static constexpr std::string_view kPlain = "/-_.*\\";
  static constexpr char kHex[] = "0123456789abcdef";
  const std::filesystem::path socket = busSocket();
  std::string address = "unix:path=";
  for (const char plain : socket.native()) {
    const auto c = static_cast<unsigned char>(plain);
    if (std::isalnum(c) != 0 || kPlain.find(plain) != std::string_view::npos) {
      address += plain;
    } else {
      address += {'%', kHex[c >> 4], kHex[c & 15]};
    }
  }
  return address;
}

std::string lastLines(const std::filesystem::path& file, std::size_t lines) {
  std::ifstream in(file);
  std::deque<std::string> kept;
  for (std::string line; std::getline(in, line);) {
    kept.push_back(std::move(line));
    if (kept.size() > lines) {
      kept.pop_front();
    }
  }
  std::string text;
  for (const std::string& line : kept) {
    text += "    " + line + "\n";
  }
  return text;
}

}  // namespace benchtv
