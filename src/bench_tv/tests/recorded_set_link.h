// The set as the tests of the stand-ins see it: writes down what a stand-in does to it.
#pragma once

#include <string>
#include <vector>

#include "stand_ins/stand_in.h"

namespace benchtv {

class RecordedSetLink : public ISetLink {
 public:
  std::vector<std::string> done;
  int status = 0;  // of what is sent

  int sendRecord(const std::string& from, const std::string& to, const std::string& cmd,
                 const std::string& para) override {
    done.push_back(from + " -> " + to + ": " + cmd + "|" + para);
    return status;
  }
  int sendAppMessage(const std::string& source, const std::string& target,
                     const std::string& message) override {
    done.push_back(source + " -> " + target + ": " + message);
    return status;
  }
  void callApp(const std::string& app, const std::string& operation, const Texts& texts) override {
    done.push_back("call " + app + " " + operation + " " + jsonText(toJson(texts)));
  }
  void setSetting(const std::string& key, const Value& value) override {
    done.push_back("set " + key + " " + jsonText(toJson(value)));
  }
  void note(const std::string& kind, const std::string& op,
            const std::vector<std::pair<std::string, Json::Value>>& fields) override {
    std::string text = "note " + kind + " " + op;
    for (const auto& [name, value] : fields) {
      text += " " + name + "=" + jsonText(value);
    }
    done.push_back(text);
  }
};

}  // namespace benchtv
