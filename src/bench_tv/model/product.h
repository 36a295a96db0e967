// Product: what a set is when it leaves the factory, as a product file describes it.
#pragma once

#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/value.h"

namespace benchtv {

// "FILE:LINE: what is wrong: what is allowed"
struct ProductError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Product {
  std::string name;                     // the file's, without its ending
  std::map<std::string, Value> values;  // by key; a key that the product leaves out is not in it
};

// A product file is a YAML map. It says what differs from the common set; `missing` lists the
// fields whose keys the product leaves out. Throws ProductError.
Product loadProduct(const std::filesystem::path& file);

// The file of a product given by its name in |folder|, or by its path if |nameOrFile| has a slash
// or ends in ".yaml". Throws ProductError that lists the names there are.
std::filesystem::path findProduct(const std::string& nameOrFile,
                                  const std::filesystem::path& folder);

// Those in |folder|, in alphabetical order.
std::vector<std::string> productNames(const std::filesystem::path& folder);

}  // namespace benchtv
