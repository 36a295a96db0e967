// RunFolder: where one bench TV keeps its files, and what they are called.
#pragma once

#include <filesystem>
#include <string>
#include <utility>

namespace benchtv {

class RunFolder {
 public:
  // The folder of the bench TV called |name|, which need not exist. Throws std::runtime_error when
  // that is no name for a bench TV, or when its sockets would get too long a path.
  static RunFolder ofName(const std::string& name);

  explicit RunFolder(std::filesystem::path where) : folder(std::move(where)) {}

  const std::filesystem::path& path() const { return folder; }
  std::filesystem::path description() const { return folder / "tv.json"; }
  std::filesystem::path journal() const { return folder / "journal.jsonl"; }
  std::filesystem::path busSocket() const { return folder / "bus.sock"; }
  std::filesystem::path busConfiguration() const { return folder / "bus.conf"; }
  std::filesystem::path keeperSocket() const { return folder / "keeper.sock"; }
  std::filesystem::path state() const { return folder / "state"; }
  std::filesystem::path log(const std::string& whose) const { return folder / (whose + ".log"); }

  // The private bus as a D-Bus address.
  std::string busAddress() const;

 private:
  std::filesystem::path folder;
};

// The last |lines| lines of a file, each indented by four blanks and ended by a line feed; empty
// when there is no such file.
std::string lastLines(const std::filesystem::path& file, std::size_t lines);

}  // namespace benchtv
