#include "control/processes.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>

namespace benchtv {

namespace {

std::optional<pid_t> pidFrom(const std::string& text) {
  pid_t pid = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, pid);
  if (result.ec != std::errc() || result.ptr != end) {
    return std::nullopt;
  }
  return pid;
}

std::vector<ProcessInfo> allProcesses() {
  std::vector<ProcessInfo> all;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", ignored)) {
    if (!pidFrom(entry.path().filename().native())) {
      continue;
    }
    std::ifstream in(entry.path() / "status");
    std::stringstream text;
    text << in.rdbuf();
    if (auto process = parseProcessStatus(text.str())) {
      all.push_back(std::move(*process));
    }
  }
  return all;
}

// When a process ends, its children pass to another at that instant. A listing that caught one of
// them before, and looked for its parent after, has a gap.
bool hasGap(const std::vector<ProcessInfo>& all) {
  std::set<pid_t> pids{0};
  for (const ProcessInfo& process : all) {
    pids.insert(process.pid);
  }
  return std::any_of(all.begin(), all.end(),
                     [&pids](const ProcessInfo& p) { return pids.count(p.parent) == 0; });
}

}  // namespace

std::optional<ProcessInfo> parseProcessStatus(const std::string& text) {
  ProcessInfo process;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t colon = line.find(":\t");
    if (colon == std::string::npos) {
      continue;
    }
    const std::string field = line.substr(0, colon);
    const std::string value = line.substr(colon + 2);
    if (field == "Name") {
      process.name = value;
    } else if (field == "State" && !value.empty()) {
      process.state = value.front();
    } else if (field == "Pid") {
      process.pid = pidFrom(value).value_or(0);
    } else if (field == "PPid") {
      process.parent = pidFrom(value).value_or(0);
    } else if (field == "NSpid") {
      process.insidePid = pidFrom(value.substr(value.rfind('\t') + 1)).value_or(0);
    }
  }
  if (process.pid == 0) {
    return std::nullopt;
  }
  return process;
}

std::vector<ProcessInfo> treeBelow(const std::vector<ProcessInfo>& all, pid_t root) {
  std::map<pid_t, pid_t> parents;
  for (const ProcessInfo& process : all) {
    parents[process.pid] = process.parent;
  }

  const auto descends = [&parents, root](pid_t pid) {
    // A listing that is not of one instant might hold a circle: no more steps than processes.
    for (std::size_t steps = 0; steps <= parents.size(); ++steps) {
      if (pid == root) {
        return true;
      }
      const auto found = parents.find(pid);
      if (found == parents.end()) {
        return false;
      }
      pid = found->second;
    }
    return false;
  };

  std::vector<ProcessInfo> tree;
  std::copy_if(all.begin(), all.end(), std::back_inserter(tree),
               [&descends](const ProcessInfo& p) { return descends(p.pid); });
  std::sort(tree.begin(), tree.end(),
            [](const ProcessInfo& a, const ProcessInfo& b) { return a.pid < b.pid; });
  return tree;
}

std::vector<ProcessInfo> processTree(pid_t root) {
  std::vector<ProcessInfo> all = allProcesses();
  // Where /proc hides other users' processes the gaps never close.
  for (int tries = 0; hasGap(all) && tries < 3; ++tries) {
    all = allProcesses();
  }
  return treeBelow(all, root);
}

int signalNumber(const std::string& text) {
  if (const auto number = pidFrom(text)) {
    if (*number > 0 && *number < NSIG) {
      return *number;
    }
  } else {
    const char* word = text.c_str();
    if (strncasecmp(word, "SIG", 3) == 0) {
      word += 3;
    }
    for (int candidate = 1; candidate < NSIG; ++candidate) {
      const char* abbreviation = sigabbrev_np(candidate);
      if (abbreviation && strcasecmp(abbreviation, word) == 0) {
        return candidate;
      }
    }
  }
  throw std::runtime_error("\"" + text +
                           "\" is no signal: write for instance KILL, TERM, STOP or 9");
}

}  // namespace benchtv
