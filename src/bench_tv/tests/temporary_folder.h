// TemporaryFolder: a folder of one test, gone with it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace benchtv {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "bench_tv_test.XXXXXX").string();
    if (!mkdtemp(name.data())) {
      throw std::runtime_error(name);
    }
    folder = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::filesystem::path path(const std::string& name = "") const { return folder / name; }

  std::filesystem::path write(const std::string& name, const std::string& text) const {
    std::ofstream(path(name), std::ios::binary) << text;
    return path(name);
  }

  void append(const std::string& name, const std::string& text) const {
    std::ofstream(path(name), std::ios::binary | std::ios::app) << text;
  }

  std::string read(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::filesystem::path folder;
};

}  // namespace benchtv
