// Sessions that wait for the viewer's consent: the requests, and what the bridge makes of an
// answer.
#include "consent_requests.h"

#include "wired_bridge.h"

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

TEST(ConsentRequests, FindsARequestUntilItIsRemoved) {
  norvale::ConsentRequests requests;
  requests.add("BRIDGE-1", "cwd=/one");

  EXPECT_EQ(requests.find("BRIDGE-1"), "cwd=/one");
  EXPECT_EQ(requests.find("BRIDGE-1"), "cwd=/one");
  requests.remove("BRIDGE-1");
  EXPECT_EQ(requests.find("BRIDGE-1"), std::nullopt);
}

TEST(ConsentRequests, ComparesWholeIds) {
  norvale::ConsentRequests requests;
  requests.add("BRIDGE-1", "cwd=/one");

  EXPECT_EQ(requests.find("BRIDGE-"), std::nullopt);
  EXPECT_EQ(requests.find("BRIDGE-10"), std::nullopt);
  EXPECT_EQ(requests.find("bridge-1"), std::nullopt);
  EXPECT_EQ(requests.find(""), std::nullopt);
}

TEST(ConsentRequests, KeepTheFirstOfTwoWithOneId) {
  norvale::ConsentRequests requests;
  requests.add("BRIDGE-1", "first");
  requests.add("BRIDGE-1", "second");

  EXPECT_EQ(requests.find("BRIDGE-1"), "first");
}

TEST(ConsentRequests, KeepTheFirstOfTwoWithOneIdAlsoWhenALookCameBetween) {
  norvale::ConsentRequests requests;
  requests.add("BRIDGE-1", "first");
  EXPECT_EQ(requests.find("BRIDGE-2"), std::nullopt);
  requests.add("BRIDGE-1", "second");

  EXPECT_EQ(requests.find("BRIDGE-1"), "first");
  requests.remove("BRIDGE-1");
  EXPECT_EQ(requests.find("BRIDGE-1"), std::nullopt);
}

TEST(ConsentRequests, TakeAnIdThatHasBeenRemovedAgain) {
  norvale::ConsentRequests requests;
  requests.add("BRIDGE-1", "first");
  requests.remove("BRIDGE-1");
  requests.add("BRIDGE-1", "second");

  EXPECT_EQ(requests.find("BRIDGE-1"), "second");
}

TEST(ConsentRequests, AreFoundInAnyOrder) {
  norvale::ConsentRequests requests;
  requests.add("BRIDGE-1", "one");
  requests.add("BRIDGE-2", "two");
  requests.add("BRIDGE-3", "three");

  EXPECT_EQ(requests.find("BRIDGE-2"), "two");
  EXPECT_EQ(requests.find("BRIDGE-3"), "three");
  EXPECT_EQ(requests.find("BRIDGE-1"), "one");
}

TEST(ConsentRequests, MayBeRemovedWithoutHavingBeenAdded) {
  norvale::ConsentRequests requests;
  requests.remove("BRIDGE-1");
  EXPECT_EQ(requests.find("BRIDGE-1"), std::nullopt);
}

TEST(ConsentRequests, MayHoldAnythingWhenTheyGo) {
  norvale::ConsentRequests requests;
  requests.add("BRIDGE-1", "filed");
  EXPECT_EQ(requests.find("BRIDGE-1"), "filed");
  requests.add("BRIDGE-2", "not yet filed");
}

// ---- On the bridge.

class AConsent : public WiredBridge {
 protected:
  // A phone connects on its own; the id under which the UI is asked.
  std::string phoneConnects(const std::string& para) {
    (void)tv.take();
    (void)bridge.processCMD_AirPlayMessageFromGAM("start", para);
    const std::string sent = tv.takeOnly({"apm.sendMessage"}).at(0);
    const std::string before = R"("sessionid":")";
    const std::size_t begin = sent.find(before) + before.size();
    (void)tv.take();
    return sent.substr(begin, sent.find('"', begin) - begin);
  }
  int accepts(const std::string& id) { return bridge.processCMD_AirPlay_StartFromDaemon(id); }
  Entries starts() {
    Entries sent = tv.takeOnly({"gam.send"});
    (void)tv.take();
    return sent;
  }
};

TEST_F(AConsent, IsAskedForUnderTheTimeInMicroseconds) {
  time.pass(VirtualLibc::Time(23456789));
  EXPECT_EQ(phoneConnects("cwd=/p"), "BRIDGE-123.456789");
}

TEST_F(AConsent, StartsTheApplicationWithThePhonesParameter) {
  const std::string id = phoneConnects("AirPlayApp cwd=/p");

  EXPECT_EQ(accepts(id), 0);

  EXPECT_THAT(tv.take(),
              ElementsAre("IN startAirPlayByParam",
                          "log sendGAMCommand: cmd: start,  dest: am, param: "
                          "[AirPlayApp cwd=/p]",
                          toAm("start", "[AirPlayApp cwd=/p]"), "OUT startAirPlayByParam"));
}

TEST_F(AConsent, StartsNothingBeforeItIsGiven) {
  (void)bridge.processCMD_AirPlayMessageFromGAM("start", "cwd=/p");
  EXPECT_THAT(starts(), IsEmpty());
}

TEST_F(AConsent, IsGoodOnce) {
  const std::string id = phoneConnects("cwd=/p");
  EXPECT_EQ(accepts(id), 0);
  (void)tv.take();

  EXPECT_EQ(accepts(id), -1);

  EXPECT_THAT(tv.take(), ElementsAre("ERR processCMD_AirPlay_StartFromDaemon: Can not found "
                                     "session id: BRIDGE-100.000000"));
}

TEST_F(AConsent, ForAnIdThatWasNeverIssuedIsRefused) {
  (void)phoneConnects("cwd=/p");

  EXPECT_EQ(accepts("BRIDGE-99.000000"), -1);

  EXPECT_THAT(tv.take(), ElementsAre("ERR processCMD_AirPlay_StartFromDaemon: Can not found "
                                     "session id: BRIDGE-99.000000"));
  EXPECT_EQ(accepts("BRIDGE-100.000000"), 0);
}

TEST_F(AConsent, ForTheDefaultIdIsRefused) { EXPECT_EQ(accepts("UNKNOWN"), -1); }

TEST_F(AConsent, LeavesAnotherPendingRequestPending) {
  const std::string first = phoneConnects("cwd=/one");
  time.pass(1s);
  const std::string second = phoneConnects("cwd=/two");

  EXPECT_EQ(accepts(second), 0);
  EXPECT_THAT(starts(), ElementsAre(toAm("start", "[cwd=/two]")));
  EXPECT_EQ(accepts(second), -1);
  EXPECT_EQ(accepts(first), 0);
  EXPECT_THAT(starts(), ElementsAre(toAm("start", "[cwd=/one]")));
}

TEST_F(AConsent, OfTwoPhonesInOneInstantIsForTheFirst) {
  const std::string first = phoneConnects("cwd=/one");
  const std::string second = phoneConnects("cwd=/two");
  ASSERT_EQ(first, second);

  EXPECT_EQ(accepts(first), 0);
  EXPECT_EQ(accepts(second), -1);

  EXPECT_THAT(starts(), ElementsAre(toAm("start", "[cwd=/one]")));
}

TEST_F(AConsent, IsUsedUpByAStartThatFails) {
  const std::string id = phoneConnects("cwd=/p");
  tv.gamSendResult(1, -7);

  EXPECT_EQ(accepts(id), -7);
  EXPECT_EQ(accepts(id), -1);
}

// The request goes when the start has been sent, and not before.
TEST_F(AConsent, IsGoodUntilItsStartHasBeenSent) {
  const std::string id = phoneConnects("cwd=/p");
  int answers = 0;
  tv.onSend("am", "start", "[cwd=/p]", [&] {
    if (++answers == 1) {
      EXPECT_EQ(accepts(id), 0);
    }
  });

  EXPECT_EQ(accepts(id), 0);

  EXPECT_EQ(answers, 2);
  EXPECT_EQ(accepts(id), -1);
}

TEST_F(AConsent, MayComeLongAfterTheRequest) {
  const std::string id = phoneConnects("cwd=/p");
  time.pass(86400s);
  EXPECT_EQ(accepts(id), 0);
}

TEST_F(AConsent, CanBeAskedForWithoutAClock) {
  time.breakClock(CLOCK_MONOTONIC);
  EXPECT_EQ(phoneConnects("cwd=/p"), "BRIDGE--1.000000");
  EXPECT_EQ(accepts("BRIDGE--1.000000"), 0);
}

TEST_F(AConsent, IsKeptWhileThereIsNoCommandBus) {
  const std::string id = phoneConnects("cwd=/p");
  bridge.init(&apm, nullptr, &platform);

  EXPECT_EQ(accepts(id), 0);

  EXPECT_THAT(tv.take(), ElementsAre("ERR processCMD_AirPlay_StartFromDaemon: No GAM"));
  bridge.init(&apm, &gam, &platform);
  EXPECT_EQ(accepts(id), 0);
  EXPECT_THAT(starts(), ElementsAre(toAm("start", "[cwd=/p]")));
}

TEST_F(AConsent, IsStillGoodWhenTheUiCouldNotBeAsked) {
  tv.noAppManager();
  (void)bridge.processCMD_AirPlayMessageFromGAM("start", "cwd=/p");
  tv.hasAppManager();

  EXPECT_EQ(accepts("BRIDGE-100.000000"), 0);
}

}  // namespace
