// Host list, extender values and host changes against a seeded probe database.
#include <sqlite3.h>

#include <functional>

#include "info/info.h"
#include "support/handler.h"

namespace pemo {
namespace {

// The seeded Device rows in table order, as the alive rule lists them:
//   i1 gateway (wired), i2 LivingRoom-Ext (extender, Ethernet), i3 Bedroom-Ext
//   (extender, WiFi 5G), i4 desktop (wired), i5 phone (WiFi 2.4G), i6 tablet
//   (WiFi 5G, channel 44), i7 printer (Alive 0, nNotAlive 2). old-laptop
//   (nNotAlive 3) is not listed.
class Hosts : public test::HandlerTest {
 protected:
  static std::string hosts(const std::string& object) { return test::below({"Hosts"}, object); }
  // Host `instance`'s members read after a count in the same request: "N {members}".
  static std::string host(int instance, const std::string& members) {
    const std::string reply =
        hosts(R"({"HostNumberOfEntries":0,"Host":{"i)" + std::to_string(instance) + R"(":{)" + members + "}}}");
    if (reply.front() != '{') return reply;
    const std::size_t count = reply.find(':') + 1, object = reply.find(":{", reply.find(":{") + 2) + 1;
    return reply.substr(count, reply.find(',') - count) + " " + reply.substr(object, reply.size() - object - 2);
  }
  static std::string renamed(const std::string& name) {
    return test::ext(R"("DevNameChange":{"HostMAC":"a4:5e:60:11:22:33","Name":")" + name + R"("})", true);
  }
};

// The processor's busy share since boot, from /proc/stat's first line: user,
// nice and system against those and idle; a line that does not tell keeps the value.
TEST(CpuUsage, IsTheBusyShareOfTheFirstFourTimes) {
  const auto usage = [](std::string_view line) { std::string text = "kept"; cpu_usage_from(line, text); return text; };
  EXPECT_EQ(usage("cpu  300 100 199 1401 5000 0 0 0 0 0"), "29");
  EXPECT_EQ(usage("cpu  0 0 0 0"), "0");
  EXPECT_EQ(usage("cpu  1 2 3") + usage("intr 1 2 3 4"), "keptkept");
}

TEST_F(Hosts, EachCountSnapshotsTheAliveHostsInTableOrder) {
  EXPECT_EQ(host(8, R"("HostName":"","PhysAddress":"","X_Halvo_PhyRate":5)"),
            R"(7 {"HostName":"unknown","PhysAddress":"N\/A","X_Halvo_PhyRate":0})");
  test::sql(kProbeDbPath, "DELETE FROM Device WHERE HostName='HomeGateway';");
  EXPECT_EQ(host(1, R"("HostName":"")"), R"(6 {"HostName":"LivingRoom-Ext"})");
  std::string mac;
  ParseContext context = new_parse_context(true);
  context.instance[0] = 1;  // "i2": the second extender now, by its AL MAC
  ASSERT_EQ(host_snapshot_mac(mac, context), 0);
  EXPECT_EQ(mac, "02:10:18:cc:ee:01");
  context.instance[0] = 20;
  EXPECT_EQ(host_snapshot_mac(mac, context), -26);
}

// An extender's Wi-Fi state: without a 2.4 GHz state, the 5 GHz band decides.
TEST_F(Hosts, ExtenderWifiStateFallsBackToTheFiveGigahertzBand) {
  test::sql(kProbeDbPath, "UPDATE DevFunc SET PwrState_24G=NULL, PwrState_5G='On' WHERE ALMac='02:10:18:cc:dd:01';");
  EXPECT_EQ(host(2, R"("X_Halvo_WiFiStatus":0)"), R"(7 {"X_Halvo_WiFiStatus":1})");
}

TEST_F(Hosts, ValuesBeforeAnySnapshotAndNullCellsAreDefaults) {
  EXPECT_EQ(hosts(R"({"Host":{"i1":{"HostName":"x","IPAddress":"","X_Halvo_DL_Rate":9}}})"),
            R"({"Host":{"i1":{"HostName":"unknown","IPAddress":"N\/A","X_Halvo_DL_Rate":0}}})");
  test::sql(kProbeDbPath, "INSERT INTO Device (DevType, Alive, nNotAlive) VALUES (NULL, 1, 0);");
  EXPECT_EQ(host(8, R"("PhysAddress":"","HostName":"","X_Halvo_HostType":0,"X_Halvo_DeviceName":"",)"
                    R"("X_Halvo_ConnectionType":"x","X_Halvo_RSSI":5,"X_Halvo_Channel_5G":3)"),
            R"(8 {"PhysAddress":"N\/A","HostName":"unknown","X_Halvo_HostType":1,"X_Halvo_DeviceName":"unknown",)"
            R"("X_Halvo_ConnectionType":"","X_Halvo_RSSI":0,"X_Halvo_Channel_5G":0})");
}

// ExtraInfo is written by the probe daemon, not by us: each key counts only with
// the JSON type it is named with, and any other value (a null among them), or text
// that is no JSON object, reads as the key being absent.
TEST_F(Hosts, ExtraInfoKeysCountOnlyWithTheirOwnType) {
  struct Case {
    std::string cell;  // "{...}": every key with this value
    const char* version;
    int rate;
    const char* blocking;
    int listed;  // extenders in the firmware list
  } const cases[] = {
      {"{null}", "N\\/A", 0, "Non-Blocking", 0}, {"{true}", "N\\/A", 0, "Non-Blocking", 0},
      {"{1}", "N\\/A", 1, "Non-Blocking", 2},    {"{0}", "N\\/A", 0, "Blocking", 0},
      {"{1.5}", "N\\/A", 0, "Non-Blocking", 0},  {"{\"1\"}", "1", 0, "Non-Blocking", 0},
      {"{[]}", "N\\/A", 0, "Non-Blocking", 0},   {"{{}}", "N\\/A", 0, "Non-Blocking", 0},
      {"'{\"FirmwareVersion\":'", "N\\/A", 0, "Non-Blocking", 0},
      {"'[1]'", "N\\/A", 0, "Non-Blocking", 0},  {"NULL", "N\\/A", 0, "Non-Blocking", 0},
  };
  for (const Case& c : cases) {
    std::string cell = c.cell;
    if (cell.front() == '{') {
      const std::string value = cell.substr(1, cell.size() - 2);
      cell = "'{";
      for (const char* key : {"FirmwareVersion", "RxDataRate", "TxDataRate", "ParentalCtrl", "Newfirmware"})
        cell += std::string(cell.size() > 2 ? "," : "") + "\"" + key + "\":" + value;
      cell += "}'";
    }
    test::sql(kProbeDbPath, "UPDATE Device SET ExtraInfo=" + cell + ";");
    const std::string rate = std::to_string(c.rate);
    EXPECT_EQ(host(2, R"("X_Halvo_SoftwareVersion":"","X_Halvo_DL_Rate":9,"X_Halvo_UL_Rate":9,"X_Halvo_Parental_Blocking":"")"),
              std::string(R"(7 {"X_Halvo_SoftwareVersion":")") + c.version + R"(","X_Halvo_DL_Rate":)" + rate +
                  R"(,"X_Halvo_UL_Rate":)" + rate + R"(,"X_Halvo_Parental_Blocking":")" + c.blocking + R"("})")
        << c.cell;
    EXPECT_EQ(test::ext(R"("FWNumberOfEntries":0)"), R"({"FWNumberOfEntries":)" + std::to_string(c.listed) + "}")
        << c.cell;
  }
}

// Another writer (the probe daemon) holds the database: a read, and a change,
// wait out a lock shorter than the 2000 ms busy time-out; a change fails without
// writing when the lock outlasts it.
TEST_F(Hosts, ReadsAndChangesWaitOutAShortLockAndFailPastTheBusyTimeOut) {
  using namespace std::chrono_literals;
  const auto under_lock = [](std::chrono::milliseconds hold, const std::function<std::string()>& request) {
    sqlite3* other = nullptr;
    EXPECT_EQ(sqlite3_open(kProbeDbPath, &other), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE;", nullptr, nullptr, nullptr), SQLITE_OK);
    std::thread release([&] {
      std::this_thread::sleep_for(hold);
      sqlite3_exec(other, "COMMIT;", nullptr, nullptr, nullptr);
    });
    const std::string reply = request();
    release.join();
    sqlite3_close(other);
    return reply;
  };
  EXPECT_EQ(under_lock(500ms, [] { return hosts(R"({"HostNumberOfEntries":0})"); }), R"({"HostNumberOfEntries":7})");
  EXPECT_EQ(under_lock(500ms, [] { return renamed("short-wait"); }).front(), '{');
  EXPECT_EQ(under_lock(3500ms, [] { return renamed("long-wait"); }), "<-1>");
  EXPECT_EQ(cell("SELECT DevName FROM Device WHERE DevMac='a4:5e:60:11:22:33';"), "short-wait");
}

}  // namespace
}  // namespace pemo
