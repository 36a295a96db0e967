// Receiver: how the stand-in of the receiver daemon answers the set, and the phone that it speaks
// for.
#pragma once

#include "stand_ins/stand_in.h"

namespace benchtv {

class Receiver : public IStandInPart {
 public:
  explicit Receiver(ISetLink& setLink) : set(setLink) {}

  // IStandInPart:
  void act(const std::string& verb, const std::string& argument) override;
  Json::Value state() const override;
  void onCommand(const std::string& cmd, const std::string& para) override;

 private:
  // The verbs of the phone and of the receiver itself:
  void connect(const std::string& argument);
  void disconnect(const std::string& argument);
  void press(const std::string& argument);
  void switchInput(const std::string& argument);
  void pair(const std::string& argument);
  void unblank(const std::string& argument);
  void wake(const std::string& argument);
  void background(const std::string& argument);
  void needStop(const std::string& argument);
  void enable(const std::string& argument);
  void disable(const std::string& argument);
  void sayAnything(const std::string& argument);

  // Notes what is done, then sends it. Throws StandInRefusal when nobody got it.
  void send(const std::string& op, const std::string& cmd, const std::string& para);
  void answer(const std::string& cmd, const std::string& para);
  void refuseWhileAsleep(const std::string& what) const;

  ISetLink& set;
  std::vector<int> sessions;  // of the phones that are connected, oldest first
  int lastSession = 0;
  bool asleep = false;
  bool enabled = true;
};

}  // namespace benchtv
