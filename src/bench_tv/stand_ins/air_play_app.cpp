// Stand-in for the application that shows the picture: its only argument is the parameter that it
// was started with. Whether it is in front is the set's to say.
#include "stand_ins/stand_in.h"

namespace {

constexpr char kApp[] = "AirPlayApp";
constexpr char kKind[] = "app";

class Picture : public benchtv::IStandInPart {
 public:
  Picture(benchtv::ISetLink& setLink, std::function<void()> whenOver, std::string startParameter)
      : set(setLink), end(std::move(whenOver)), parameter(std::move(startParameter)) {}

  void act(const std::string& verb, const std::string&) override {
    if (verb != "exit") {
      throw benchtv::StandInRefusal("the application knows no \"" + verb + "\": there is exit");
    }
    set.note(kKind, "exit", {});
    end();
  }

  Json::Value state() const override {
    Json::Value all(Json::objectValue);
    all["param"] = parameter;
    return all;
  }

  void onJoined() override {
    if (!std::exchange(shown, true)) {
      set.note(kKind, "shown", {{"param", parameter}});
    }
  }

 private:
  benchtv::ISetLink& set;
  std::function<void()> end;
  std::string parameter;
  bool shown = false;
};

}  // namespace

int main(int argc, char** argv) {
  benchtv::StandInOptions options;
  options.process = kApp;
  const std::string parameter = argc > 1 ? argv[1] : "";
  return benchtv::runStandIn(options, [&](benchtv::ISetLink& set, std::function<void()> end) {
    return std::make_unique<Picture>(set, std::move(end), parameter);
  });
}
