#include "model/product.h"

#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>

#include "model/setting_keys.h"

namespace benchtv {
namespace {

constexpr std::uintmax_t kLargestFile = 256 * 1024;
constexpr std::size_t kTextsInRecord = 4;

// Reads one file; knows its name for the messages.
class ProductReader {
 public:
  explicit ProductReader(const std::filesystem::path& path) : file(path) {}

  Product read() const {
    Product product;
    product.name = file.stem();
    for (const SettingKey& row : settingKeys()) {
      product.values[row.key] = row.fallback;
    }

    const YAML::Node root = parse();
    if (root.IsNull()) {
      return product;
    }
    if (!root.IsMap()) {
      fail(root, "a product file is a map of fields, such as \"brand_id: 183\"");
    }

    std::set<std::string> seen;
    std::vector<std::string> leftOut;
    for (const auto& entry : root) {
      const std::string field = nameOf(entry.first);
      if (!seen.insert(field).second) {
        fail(entry.first, "the field \"" + field + "\" stands twice");
      }
      if (entry.second.IsNull()) {
        fail(entry.first, "the field \"" + field + "\" has no value");
      }
      if (field == "missing") {
        leftOut = keysOf(entry.second);
      } else {
        product.values[rowOf(entry.first, field).key] =
            valueOf(entry.second, rowOf(entry.first, field));
      }
    }
    for (const std::string& key : leftOut) {
      product.values.erase(key);
    }
    return product;
  }

 private:
  YAML::Node parse() const {
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) {
      throw ProductError(file.string() + ": is no file that can be read");
    }
    if (std::filesystem::file_size(file, error) > kLargestFile) {
      throw ProductError(file.string() + ": is larger than a product file may be (256 KiB)");
    }
    std::ifstream stream(file);
    if (!stream) {
      throw ProductError(file.string() + ": cannot be read: " + std::strerror(errno));
    }
    const std::string text((std::istreambuf_iterator<char>(stream)), {});
    try {
      return YAML::Load(text);
    } catch (const YAML::Exception& broken) {
      fail(broken.mark, "not YAML: " + broken.msg);
    }
  }

  std::string nameOf(const YAML::Node& node) const {
    if (!node.IsScalar()) {
      fail(node, "a field's name must be one word");
    }
    return node.Scalar();
  }

  const SettingKey& rowOf(const YAML::Node& node, const std::string& field) const {
    const SettingKey* row = findSettingField(field);
    if (!row) {
      fail(node, "unknown field \"" + field + "\": allowed are " + allFields());
    }
    return *row;
  }

  std::vector<std::string> keysOf(const YAML::Node& fields) const {
    if (!fields.IsSequence()) {
      fail(fields, "\"missing\" must be a list of fields, such as [region]");
    }
    std::vector<std::string> keys;
    for (const YAML::Node& field : fields) {
      keys.emplace_back(rowOf(field, nameOf(field)).key);
    }
    return keys;
  }

  Value valueOf(const YAML::Node& node, const SettingKey& row) const {
    switch (row.kind) {
      case Kind::kInteger:
        return integerOf(node, row);
      case Kind::kText:
        return textOf(node, std::string("\"") + row.field + "\" must be a text");
      case Kind::kTexts:
        return row.shape == Shape::kRecordsOfFour ? recordsOf(node, row) : textsOf(node, row);
    }
    fail(node, "no such kind of value");
  }

  std::int32_t integerOf(const YAML::Node& node, const SettingKey& row) const {
    std::int32_t number = 0;
    // A quoted number is a text, which the tag "!" tells.
    if (!node.IsScalar() || node.Tag() == "!" ||
        !YAML::convert<std::int32_t>::decode(node, number)) {
      fail(node, std::string("\"") + row.field +
                     "\" must be an integer between -2147483648 and 2147483647");
    }
    return number;
  }

  std::string textOf(const YAML::Node& node, const std::string& otherwise) const {
    if (!node.IsScalar()) {
      fail(node, otherwise);
    }
    if (node.Scalar().find('\0') != std::string::npos) {
      fail(node, otherwise + " without NUL characters");
    }
    return node.Scalar();
  }

  Texts textsOf(const YAML::Node& node, const SettingKey& row) const {
    const std::string otherwise = std::string("\"") + row.field + "\" must be a list of texts";
    if (!node.IsSequence()) {
      fail(node, otherwise);
    }
    Texts texts;
    for (const YAML::Node& element : node) {
      texts.push_back(textOf(element, otherwise));
    }
    return texts;
  }

  Texts recordsOf(const YAML::Node& node, const SettingKey& row) const {
    const std::string otherwise =
        std::string("\"") + row.field + "\" must be a list of records of four texts each";
    if (!node.IsSequence()) {
      fail(node, otherwise);
    }
    Texts texts;
    for (const YAML::Node& record : node) {
      if (!record.IsSequence() || record.size() != kTextsInRecord) {
        fail(record, otherwise);
      }
      for (const YAML::Node& element : record) {
        texts.push_back(textOf(element, otherwise));
      }
    }
    return texts;
  }

  static std::string allFields() {
    std::string names = "missing";
    for (const SettingKey& row : settingKeys()) {
      names += std::string(", ") + row.field;
    }
    return names;
  }

  [[noreturn]] void fail(const YAML::Node& node, const std::string& what) const {
    fail(node.Mark(), what);
  }

  [[noreturn]] void fail(const YAML::Mark& mark, const std::string& what) const {
    throw ProductError(file.string() + ":" + std::to_string(mark.line + 1) + ": " + what);
  }

  const std::filesystem::path& file;
};

}  // namespace

Product loadProduct(const std::filesystem::path& file) { return ProductReader(file).read(); }

std::filesystem::path findProduct(const std::string& nameOrFile,
                                  const std::filesystem::path& folder) {
  const std::filesystem::path given(nameOrFile);
  if (nameOrFile.find('/') != std::string::npos || given.extension() == ".yaml") {
    return given;
  }
  const std::filesystem::path known = folder / (nameOrFile + ".yaml");
  std::error_code error;
  if (std::filesystem::is_regular_file(known, error)) {
    return known;
  }
  std::string names;
  for (const std::string& name : productNames(folder)) {
    names += (names.empty() ? "" : ", ") + name;
  }
  throw ProductError("no product \"" + nameOrFile + "\": there are " +
                     (names.empty() ? "none in " + folder.string() : names) +
                     "; or give the path of a file that ends in .yaml");
}

std::vector<std::string> productNames(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (entry.path().extension() == ".yaml") {
      names.push_back(entry.path().stem());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace benchtv
