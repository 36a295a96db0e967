// What the tests of the set's parts look at: its journal, and what went out to its clients.
#pragma once

#include <string>
#include <vector>

#include "model/journal_line.h"
#include "model/value.h"
#include "set/outlet.h"
#include "temporary_folder.h"

namespace benchtv {

// The journal of |folder| without numbers and times: one text a line, such as
//   setting op="write" key="a" value=3 status=0 by="set"
// The fields stand in the order of their names.
inline std::vector<std::string> journalOf(const TemporaryFolder& folder) {
  std::vector<std::string> lines;
  std::ifstream file(folder.path(kJournalFile));
  for (std::string line; std::getline(file, line);) {
    const auto entry = parseJournalLine(line);
    if (!entry) {
      lines.push_back("no journal line: " + line);
      continue;
    }
    std::string text = entry->kind;
    for (const std::string& name : entry->object.getMemberNames()) {
      if (name != "seq" && name != "t" && name != "kind") {
        text += " " + name + "=" + jsonText(entry->object[name]);
      }
    }
    lines.push_back(text);
  }
  return lines;
}

// Writes down what goes out: "client: what".
class RecordingOutlet : public IOutlet {
 public:
  std::vector<std::string> sent;

  void changed(const std::string& client, const std::string& key, const Value& value) override {
    sent.push_back(client + ": changed " + key + " " + jsonText(toJson(value)));
  }
  void actionDone(const std::string& client, const std::string& key, int status) override {
    sent.push_back(client + ": done " + key + " " + std::to_string(status));
  }
  void delivered(const std::string& client, int type, bool synchronous,
                 const Record& record) override {
    std::string text = client + ": type " + std::to_string(type) + (synchronous ? " sync" : "");
    for (const Field* field : {&record.src, &record.ack, &record.dest, &record.cmd, &record.para}) {
      text += *field ? " \"" + **field + "\"" : " null";
    }
    sent.push_back(text);
  }
  void availableChanged(const std::string& client, bool available) override {
    sent.push_back(client + (available ? ": available" : ": missing"));
  }
  void callback(const std::string& client, std::uint64_t id, const std::string& app,
                const std::string& operation, const Texts& texts, int reason) override {
    sent.push_back(client + ": call " + std::to_string(id) + " " + app + " " + operation + " " +
                   jsonText(toJson(texts)) + " " + std::to_string(reason));
  }
};

}  // namespace benchtv
