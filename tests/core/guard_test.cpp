// The bounds on strangers, on a clock that stands still unless the test moves it.
#include "core/guard.h"

#include <gtest/gtest.h>

#include <deque>
#include <vector>

#include "platform/log.h"
#include "support/clock.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

constexpr PeerId kGuesser = 0x0200007f, kOther = 0x0300007f;

double seconds(Clock::duration d) { return std::chrono::duration<double>(d).count(); }

// Answers asked for at one instant queue one pause apart, the pauses doubling
// from half a second to eight; another address is never held up by them.
TEST(WrongKeys, AnswersOfOneAddressTakeTurnsThatGrowToSeconds) {
  test::ManualClock clock;
  ScopedClock scoped(clock);
  std::vector<double> waits;
  for (int k = 0; k < 9; ++k) waits.push_back(seconds(wrong_key_wait(kGuesser)));
  EXPECT_EQ(waits, (std::vector<double>{0, 0, 0, 0.5, 1.5, 3.5, 7.5, 15.5, 23.5}));
  EXPECT_EQ(wrong_key_wait(kOther), Clock::duration::zero());

  // The right key starts the address afresh.
  right_key(kGuesser);
  waits.clear();
  for (int k = 0; k < 4; ++k) waits.push_back(seconds(wrong_key_wait(kGuesser)));
  EXPECT_EQ(waits, (std::vector<double>{0, 0, 0, 0.5}));

  // So does a quarter of an hour without a guess after the last turn.
  clock.sleep_for(500ms + kWrongKeyMemory + 1s);
  EXPECT_EQ(wrong_key_wait(kGuesser), Clock::duration::zero());

  // Every four-digit key from one address, on any number of connections.
  Clock::duration last{};
  for (int key = 0; key < 10000; ++key) last = wrong_key_wait(kOther);
  std::printf("10,000 wrong keys from one address: the last answered after %.1f h\n", seconds(last) / 3600);
  EXPECT_GT(last, std::chrono::hours(20));

  guard_set_strict(true);
  EXPECT_EQ(wrong_key_wait(kOther), Clock::duration::zero());
}

// The pauses are remembered for a bounded number of addresses. A new one takes
// the place of the idle one whose turn came first; while every remembered
// address holds a connection, a new address is refused and pauses longest.
TEST(WrongKeys, RememberedForABoundedNumberOfAddresses) {
  test::ManualClock clock;
  ScopedClock scoped(clock);
  guard_set_strict(false);
  clock.sleep_for(48h);  // what other tests left is idle by now
  for (PeerId peer = 1; peer <= kTrackedPeers; ++peer) {
    for (int key = 0; key <= kFreeWrongKeys; ++key) wrong_key_wait(peer);
    clock.sleep_for(1ms);  // their turns come in this order
  }
  EXPECT_EQ(wrong_key_wait(kTrackedPeers + 1), Clock::duration::zero());
  EXPECT_EQ(wrong_key_wait(1), Clock::duration::zero()) << "the first forgotten";
  EXPECT_GT(wrong_key_wait(3), Clock::duration::zero()) << "the third remembered";

  guard_set_strict(true);  // so that the caps let every address hold one
  std::vector<ConnectionSlot> held;
  for (PeerId peer = 5000; peer < 5000 + kTrackedPeers; ++peer) held.push_back(connection_admit(peer));
  guard_set_strict(false);
  EXPECT_FALSE(connection_admit(1).held());
  EXPECT_EQ(wrong_key_wait(1), kLongestWrongKeyPause);
  held.clear();
  EXPECT_TRUE(connection_admit(1).held());
}

TEST(Connections, CappedPerAddressAndInAll) {
  std::deque<ConnectionSlot> slots;
  const auto admit = [&](PeerId peer) {
    slots.push_back(connection_admit(peer));
    return slots.back().held();
  };
  for (std::size_t k = 0; k < kMaxConnectionsPerPeer; ++k) ASSERT_TRUE(admit(kGuesser));
  EXPECT_FALSE(admit(kGuesser));
  for (std::size_t k = kMaxConnectionsPerPeer; k < kMaxConnections; ++k) ASSERT_TRUE(admit(kOther + static_cast<PeerId>(k)));
  EXPECT_EQ(connections_admitted(), kMaxConnections);
  EXPECT_FALSE(admit(kOther));
  slots.pop_front();  // one of the guesser's ends
  EXPECT_TRUE(admit(kOther));
  EXPECT_FALSE(admit(kGuesser));
  guard_set_strict(true);
  EXPECT_TRUE(admit(kGuesser));
  slots.clear();
  EXPECT_EQ(connections_admitted(), 0u);
}

TEST(LogMasking, PasswordAndKeyValuesAreMaskedWherever) {
  EXPECT_EQ(mask_secret_members(R"(Recv : {"Device":{"WiFi":{"AccessPoint":{"i1":{"Security":{"PreShareKey":"a\"b,}"}}}},)"
                                R"("X":{"Password" : 1234, "PasswordHint":"p", "ConfigPassword":"x"}}})"),
            R"(Recv : {"Device":{"WiFi":{"AccessPoint":{"i1":{"Security":{"PreShareKey":"***"}}}},)"
            R"("X":{"Password" : "***", "PasswordHint":"p", "ConfigPassword":"***"}}})");
  EXPECT_EQ(mask_secret_members(R"(["Password", "x"] {"Password":{"Password":"y"}} {"Password":"cut)"),
            R"(["Password", "x"] {"Password":{"Password":"***"}} {"Password":"***")");
  EXPECT_EQ(log_value("wireless.@wifi-iface[0].WPAPSKkey", "k"), kMasked);
  EXPECT_EQ(log_value("system.main.pwd", "p"), kMasked);
  EXPECT_EQ(log_value("system.main.hostname", "h"), "h");
  log_mask_secrets(false);
  EXPECT_EQ(log_value("network.wan.password", "p"), "p");
}

}  // namespace
}  // namespace pemo
