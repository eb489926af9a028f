// Recordings for other programs: their own checks, and what these find where a file was altered.
#include <signal.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "tests/inspect/inspect_fixture.h"
#include "tests/support/interruption.h"
#include "tests/tool/tool_process.h"

namespace {

using nlohmann::json;
using testing::Contains;
using testing::HasSubstr;

using Arguments = std::vector<std::string>;

class Export : public InspectTest {
 public:
  Export() {
    char folder[] = "/tmp/export-XXXXXX";
    folder_ = mkdtemp(folder);
  }
  ~Export() override { std::filesystem::remove_all(folder_); }

  std::string path(const std::string& name) const { return folder_ + "/" + name; }
  Ran tool(Arguments arguments) {
    arguments.insert(arguments.begin(), LINKAPP_TOOL);
    return runProgram(loop_, signals_, arguments);
  }
  // A phone that comes, talks and goes, and two applications: every kind of message, texts, bytes and long messages.
  void record() {
    std::ofstream(path("x.scn")) << "process phone = phone\n"
                                    "process navi = app --name navi --iap1 one --launch\n"
                                    "process music = app --name music --launch --listen app\n"
                                    "start phone navi music\nwait phone apps=2\n"
                                    "phone: hands-free up 00:11:22:33:44:55\nphone: play \"Some Player\"\n"
                                    "phone: plug usb\nwait navi open=true\nwait music open=true\n"
                                    "navi: send hello\nexpect navi onReceivedMsg text=hello\n"
                                    "music: send-hex 00ff7f\nexpect music onReceivedMsg head=00ff7f\n"
                                    "navi: burst 30 size 4096 window 4\nwait navi numbered=30 results=31\n"
                                    "phone: results failure\nmusic: send no\nwait music results=2 failed=1\n"
                                    "phone: close com.example.navi\nwait navi open=false\nphone: unplug\n"
                                    "wait music open=false\n";
    ToolProcess recorder(loop_, signals_, {"record", path("x.rec")});
    ASSERT_TRUE(recorder.await({"recording to"}));
    const Ran ran = tool({"scenario", "--shared", path("x.scn")});
    ASSERT_EQ(ran.code, 0) << testing::PrintToString(ran.lines);
    recorder.signal(SIGTERM);
    ASSERT_EQ(recorder.awaitEnd(), 0);
  }
  std::vector<json> entries() {
    std::vector<json> all;
    for (const std::string& line : tool({"record", "--json", path("x.rec")}).lines) {
      all.push_back(json::parse(line));
    }
    return all;
  }
  Ran check(const json& trace) {
    std::ofstream(path("altered.json")) << trace.dump();
    return runProgram(loop_, signals_, {"python3", LINKAPP_INSPECT_TESTS "/check_trace.py", path("altered.json")});
  }

  loop::Loop loop_;
  loop::Signals signals_{loop_, &test_support::endBy};
  std::string folder_;
};

json& first(json& trace, const std::string& phase, const std::string& name = "") {
  for (json& event : trace["traceEvents"]) {
    if (event["ph"] == phase && (name.empty() || event["name"] == name)) {
      return event;
    }
  }
  throw std::runtime_error("no event " + phase);
}

TEST_F(Export, for_perfetto_is_a_trace_with_every_message_and_its_way) {
  ASSERT_NO_FATAL_FAILURE(record());
  ASSERT_EQ(tool({"record", "--export", "perfetto", path("x.rec"), "-o", path("x.json")}).code, 0);
  std::ifstream file(path("x.json"));
  const json trace = json::parse(file);
  const Ran ran = check(trace);
  EXPECT_EQ(ran.code, 0) << testing::PrintToString(ran.lines);
  std::size_t posts = 0;
  std::size_t messages = 0;
  std::map<std::string, std::size_t> hops;
  std::set<std::string> names;
  for (const json& event : trace["traceEvents"]) {
    posts += event["ph"] == "X" && event["args"].contains("sequence") ? 1U : 0U;
    if (event["ph"] == "e" && event["args"].contains("microseconds")) {
      const std::string name = event["name"];
      ++hops[name.rfind("message ", 0) == 0 ? "message" : name];
    }
    if (event["name"] == "process_name") {
      names.insert(event["args"]["name"]);
    }
  }
  for (const json& entry : entries()) {
    messages += entry["entry"] == "message" && entry["forNobody"] == false && entry["before"] == false ? 1U : 0U;
  }
  EXPECT_EQ(posts, messages);
  EXPECT_EQ(hops["message"], 33U);
  EXPECT_EQ(hops["in the ring"], 33U);
  EXPECT_EQ(hops["on the device side"], 33U);
  EXPECT_EQ(hops["result under way"], 33U);
  EXPECT_THAT(names, Contains(HasSubstr("(device side)")));
  EXPECT_THAT(names, Contains(HasSubstr("navi")));
}

TEST_F(Export, whose_trace_was_altered_is_found_out_by_the_check) {
  ASSERT_NO_FATAL_FAILURE(record());
  ASSERT_EQ(tool({"record", "--export", "perfetto", path("x.rec"), "-o", path("x.json")}).code, 0);
  std::ifstream file(path("x.json"));
  const json whole = json::parse(file);
  const auto altered = [&](const char* what, const std::function<void(json & trace)>& alter) {
    json trace = whole;
    alter(trace);
    EXPECT_EQ(check(trace).code, 1) << what;
  };
  altered("a member is missing", [](json& trace) { first(trace, "X").erase("ts"); });
  altered("a member too many", [](json& trace) { first(trace, "X")["colour"] = "red"; });
  altered("no such phase", [](json& trace) { first(trace, "X")["ph"] = "Y"; });
  altered("a text for a number", [](json& trace) { first(trace, "X")["dur"] = "1"; });
  altered("slices overlap", [](json& trace) {
    json& slice = first(trace, "X");
    for (const json& next : trace["traceEvents"]) {
      if (next["ph"] == "X" && next["tid"] == slice["tid"] && next["ts"] > slice["ts"]) {
        slice["dur"] = next["ts"].get<double>() + next["dur"].get<double>() / 2 - slice["ts"].get<double>();
        return;
      }
    }
  });
  altered("an arrow without a slice", [](json& trace) { first(trace, "f")["ts"] = 1.0; });
  altered("an arrow without its beginning", [](json& trace) { first(trace, "s")["id"] = 999999; });
  altered("an end without a beginning", [](json& trace) { first(trace, "b")["id"] = 999999; });
  altered("a track without a name", [](json& trace) { first(trace, "M", "thread_name")["tid"] = 3; });
  altered("no events", [](json& trace) { trace["traceEvents"] = json::array(); });
  altered("another member of the file", [](json& trace) { trace["more"] = 1; });
  EXPECT_EQ(check(whole).code, 0);
}

class Capture : public Export {
 public:
  void makeCapture() {
    ASSERT_NO_FATAL_FAILURE(record());
    ASSERT_EQ(tool({"record", "--export", "pcapng", path("x.rec"), "-o", path("x.pcapng")}).code, 0);
  }
  // The decoded fields of each packet, by the names in linkapp.lua.
  std::vector<json> packets(const std::string& file) {
    const std::string command = "tshark -X lua_script:" LINKAPP_DISSECTOR " -r " + file + " -T json -J linkapp > " +
                                path("packets.json") + " 2> " + path("errors");
    const Ran ran = runProgram(loop_, signals_, {"sh", "-c", command});
    EXPECT_EQ(ran.code, 0);
    std::ifstream content(path("packets.json"));
    std::vector<json> all;
    for (const json& packet : json::parse(content)) {
      all.push_back(packet["_source"]["layers"].value("linkapp", json::object()));
    }
    return all;
  }
};

std::string numberText(const json& value) {
  return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string plainHex(const json& packet, const std::string& field) {
  std::string hex = packet.value(field, "");
  hex.erase(std::remove(hex.begin(), hex.end(), ':'), hex.end());
  return hex;
}

// What stands in the recording, by the dissector's name of it.
void expectSame(const json& packet, const json& entry) {
  SCOPED_TRACE(entry.dump().substr(0, 300));
  static const std::map<std::string, std::string> kSaid = {{"device", "device"},
                                                           {"app", "app"},
                                                           {"slot", "slot"},
                                                           {"place", "place"},
                                                           {"connectStatus", "connect_status"},
                                                           {"connectType", "connect_type"},
                                                           {"iapType", "iap_type"},
                                                           {"status", "status"},
                                                           {"sendResult", "send_result"},
                                                           {"btConnected", "bt_connected"},
                                                           {"btAddress", "bt_address"},
                                                           {"playbackAppName", "playback_app_name"},
                                                           {"launchMethod", "launch_method"}};
  for (const char* const name : {"sequence", "time", "id", "pid", "process", "number", "name"}) {
    EXPECT_EQ(packet.value(std::string("linkapp.") + name, "(missing)"), numberText(entry[name])) << name;
  }
  EXPECT_EQ(packet["linkapp.payload_size"], entry["size"].dump());
  EXPECT_EQ(plainHex(packet, "linkapp.payload"), entry["payload"]);
  EXPECT_EQ(packet["linkapp.before"], entry["before"] == true ? "1" : "0");
  EXPECT_EQ(packet["linkapp.for_nobody"], entry["forNobody"] == true ? "1" : "0");
  for (const auto& [name, value] : entry["fields"].items()) {
    ASSERT_EQ(kSaid.count(name), 1U) << name;
    EXPECT_EQ(packet.value("linkapp." + kSaid.at(name), "(missing)"), numberText(value)) << name;
  }
  if (entry.contains("content")) {
    EXPECT_EQ(packet["linkapp.content.state"], "1");
    EXPECT_EQ(packet["linkapp.content.size"], entry["content"]["size"].dump());
    EXPECT_EQ(plainHex(packet, "linkapp.content.bytes"), entry["content"]["bytes"]);
  }
}

TEST_F(Capture, is_decoded_by_the_dissector_field_by_field) {
  ASSERT_NO_FATAL_FAILURE(makeCapture());
  const std::vector<json> decoded = packets(path("x.pcapng"));
  std::size_t index = 0;
  std::set<std::string> names;
  for (const json& entry : entries()) {
    if (entry["entry"] == "message") {
      ASSERT_LT(index, decoded.size());
      expectSame(decoded[index++], entry);
      names.insert(entry["name"]);
    } else if (entry["entry"] == "gap") {
      ASSERT_LT(index, decoded.size());
      EXPECT_EQ(decoded[index]["linkapp.kind"], "2");
      EXPECT_EQ(decoded[index]["linkapp.gap.count"], entry["count"].dump());
      EXPECT_EQ(decoded[index++]["linkapp.name"], "gap: " + entry["kind"].get<std::string>());
    }
  }
  EXPECT_EQ(index, decoded.size());
  EXPECT_EQ(names.size(), 10U) << "all six kinds, both rings, the table, and registrations";
}

TEST_F(Capture, has_the_times_of_the_wall_clock_to_the_nanosecond) {
  ASSERT_NO_FATAL_FAILURE(makeCapture());
  const Ran ran =
      runProgram(loop_, signals_,
                 {"sh", "-c", "tshark -r " + path("x.pcapng") + " -T fields -e frame.time_epoch 2>" + path("errors")});
  std::size_t index = 0;
  for (const json& entry : entries()) {
    if (entry["entry"] == "message" || entry["entry"] == "gap") {
      ASSERT_LT(index, ran.lines.size());
      std::string digits = ran.lines[index++];
      digits.erase(std::remove(digits.begin(), digits.end(), '.'), digits.end());
      EXPECT_EQ(digits, entry["wall"].dump());
    }
  }
  EXPECT_EQ(index, ran.lines.size());
}

// The dissector believes no length; what is no packet of ours is shown as malformed.
TEST_F(Capture, that_was_altered_is_shown_as_far_as_it_goes) {
  ASSERT_NO_FATAL_FAILURE(makeCapture());
  std::ifstream file(path("x.pcapng"), std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const std::size_t count = packets(path("x.pcapng")).size();
  std::size_t malformed = 0;
  for (const std::size_t field : {2U, 36U, 42U, 44U}) {  // lengths in the header of the first packet
    std::string altered = bytes;
    const std::size_t header = altered.find(std::string("\x01\x01\x30\x00", 4));
    ASSERT_NE(header, std::string::npos);
    altered[header + field] = '\x77';
    altered[header + field + 1] = '\x77';
    std::ofstream(path("altered.pcapng"), std::ios::binary | std::ios::trunc) << altered;
    const std::vector<json> decoded = packets(path("altered.pcapng"));
    EXPECT_EQ(decoded.size(), count);
    for (const json& packet : decoded) {
      malformed += packet.dump().find("linkapp.malformed") != std::string::npos ? 1U : 0U;
    }
  }
  EXPECT_EQ(malformed, 4U);
}

TEST_F(Export, refuses_other_formats) {
  EXPECT_EQ(tool({"record", "--export", "picture", path("x.rec")}).code, 2);
  EXPECT_EQ(tool({"record", "--export", "perfetto", "--info", path("x.rec")}).code, 2);
  EXPECT_EQ(tool({"record", "-o", path("x"), path("x.rec")}).code, 2);
  EXPECT_EQ(tool({"record", "--export", "perfetto", path("x.rec")}).code, 1);
}

}  // namespace
