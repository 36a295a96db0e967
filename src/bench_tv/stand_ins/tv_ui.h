// TvUi: the TV's user interface as far as AirPlay is concerned: its prompts, its input list and its
// settings pages.
#pragma once

#include <deque>

#include "stand_ins/stand_in.h"

namespace benchtv {

class TvUi : public IStandInPart {
 public:
  explicit TvUi(ISetLink& setLink) : set(setLink) {}

  // IStandInPart:
  void act(const std::string& verb, const std::string& argument) override;
  Json::Value state() const override;
  void onAppMessage(const std::string& source, const std::string& message) override;

 private:
  enum class Policy { kAsk, kAccept, kDecline };

  // The verbs:
  void accept(const std::string& session);
  void decline(const std::string& session);
  void start(const std::string& where);
  void quit(const std::string& argument);
  void choosePolicy(const std::string& word);

  void askForConsent(const std::string& session);
  void switchInput(const std::string& target);

  // The request of that id, or the oldest where |session| is empty; it waits no longer.
  std::string takeRequest(const std::string& session);
  void tellService(const Json::Value& message);

  ISetLink& set;
  Policy policy = Policy::kAsk;
  std::deque<std::string> requests;  // session ids that wait for an answer, oldest first
};

}  // namespace benchtv
