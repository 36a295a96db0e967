// History: what happened in a test, as lines of text in the order in which it happened.
//
// One history serves a whole test: the in-memory platform writes the service's calls and log lines
// into it, virtual time its sleeps. So a test compares order across everything that counts.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

// Any thread.
class History {
 public:
  using Entries = std::vector<std::string>;

  void add(std::string entry);

  // Each take hands over what is new of its kind, oldest first. What it does not hand over stays
  // for another take.
  Entries take();

  // |kinds| are first words of entries ("gam.send", "log"), or the part of one before its dot
  // ("gam").
  Entries takeOnly(const std::vector<std::string_view>& kinds);
  Entries takeWithout(const std::vector<std::string_view>& kinds);

 private:
  enum class Pick { kNamed, kOthers };
  Entries takeSome(const std::vector<std::string_view>& kinds, Pick pick);

  std::mutex mutex;
  Entries entries;
};

// From now on every history of this process also writes its entries into the pipe |fd|, as they
// come; see run_to_its_end.h. Not undone.
void mirrorHistoriesTo(int fd);
