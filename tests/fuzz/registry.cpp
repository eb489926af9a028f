// iOSAppCommonUtil and the registration of an app, with their transcription, over a table of any bytes: what is read at
// the start, what announcements lead to, what registrations leave in the table.
//
// In: iOSAppInfoList as it lies in its segment, the segment's size, the announced index as payload.
#include <memory>

#include "LinkAppCommon/iOSAppCommonUtil.h"
#include "tests/fuzz/channel_bench.h"
#include "tests/fuzz/memory_objects.h"
#include "tests/fuzz/opened.h"

namespace {

using channel_model::App;
using channel_model::RegistryModel;
using fuzz::Input;
using fuzz::Lines;

FUZZ_OPEN(SupportInfo, iOSAppCommonUtil, SupportiOSLinkAppInfo, supportInfo);

constexpr const char* kSegment = "iOSAppCommonLocalMem_AppInfo";
constexpr std::size_t kSegmentBytes = 4 + sizeof(iOSAppInfoList);
constexpr unsigned int kMostSteps = 24;

class Table {
 public:
  Table() { fuzz::require(endpoint_.mapping != MAP_FAILED, "the table is there"); }

  iOSAppInfoList& record() {
    void* const record = static_cast<char*>(endpoint_.mapping) + 4;
    return *static_cast<iOSAppInfoList*>(record);
  }
  iOSAppCommonLocalMem_AppInfo& endpoint() { return endpoint_; }

  // As some other process would, in the transcription's copy too.
  void disturb(Input& input, iOSAppInfoList& copy) {
    auto* const bytes = reinterpret_cast<char*>(&record());
    switch (input.below(4)) {
      case 0:
        record().count = input.number();
        break;
      case 1: {
        const std::uint32_t place = input.below(iOSAppInfoList::kEntryCount);
        record().entry[place].appId = input.number();
        break;
      }
      case 2: {
        const std::size_t begin = std::size_t{272} * input.below(iOSAppInfoList::kEntryCount) + input.byte();
        const std::string text = input.text();
        std::copy_n(text.begin(), std::min(text.size(), sizeof copy - begin), bytes + begin);
        break;
      }
      default: {  // entries without any NUL, for one
        const std::size_t begin = std::min<std::size_t>(input.number(), sizeof copy);
        const std::size_t count = std::min<std::size_t>(input.number(), sizeof copy - begin);
        std::fill_n(bytes + begin, count, static_cast<char>(input.byte()));
        break;
      }
    }
    std::memcpy(&copy, &record(), sizeof copy);
  }

 private:
  iOSAppCommonLocalMem_AppInfo endpoint_;
};

class RegistryPair {
 public:
  explicit RegistryPair(Table& table) : table_(table) {}

  void run(Input& input) {
    begin(input);
    for (unsigned int i = 0; i < kMostSteps && !input.isEmpty(); ++i) {
      const std::uint32_t kind = input.below(4);
      switch (kind) {
        case 0:
          table_.disturb(input, *copy_);
          break;
        case 1:
          registerApp(input);
          break;
        default:
          announce(input);
          break;
      }
      fuzz::requireSame(fuzz::takeLines(observed_), model_.lines, kSteps[kind]);
      model_.lines.clear();
    }
    fuzz::require(std::memcmp(&table_.record(), copy_.get(), sizeof *copy_) == 0, "both tables hold the same bytes");
    compareApps();
  }

 private:
  static constexpr const char* kSteps[] = {"a disturbance", "a registration", "an announcement", "an announcement"};

  void begin(Input& input) {
    fuzz::keepLogIn(observed_);
    if (input.below(32) == 31) {
      reopen(input);
    }
    std::memset(&table_.record(), 0, sizeof *copy_);
    std::memset(copy_.get(), 0, sizeof *copy_);
    for (std::uint32_t i = input.below(16); i > 0; --i) {
      table_.disturb(input, *copy_);
    }
    sut_ = std::make_unique<iOSAppCommonUtil>();
    sut_->AddObserver(&observer_);
    model_.table = copy_.get();
    model_.readAll();
    fuzz::requireSame(fuzz::takeLines(observed_), model_.lines, "the start");
    model_.lines.clear();
  }

  // A creator that died half-way has left the segment with some other size: whoever attaches next mends it.
  static void reopen(Input& input) {
    fuzz::resizeObject(kSegment, input.number() % (2 * kSegmentBytes));
    const iOSAppCommonLocalMem_AppInfo next;
    fuzz::require(next.mapping != MAP_FAILED, "a segment of any size can be attached");
    const volatile auto* const bytes = static_cast<const std::uint8_t*>(next.mapping);
    static_cast<void>(bytes[kSegmentBytes - 1]);
  }

  void registerApp(Input& input) {
    const std::string names[] = {text(input), text(input), text(input)};
    std::atomic<std::uint32_t> appId{0};
    table_.endpoint().registAppInfo(names[0], names[1], names[2], appId);
    fuzz::require(appId == channel_model::registerApp(*copy_, names[0], names[1], names[2], model_.lines),
                  "both give the same app id");
  }

  // Some longer than their field, some longer than the table.
  static std::string text(Input& input) {
    std::string text = input.text(16);
    const std::uint8_t stretch = input.byte();
    return stretch < 200 ? text : text + std::string(input.number() % 6000, 'x');
  }

  void announce(Input& input) {
    const std::uint8_t shape = input.byte();
    const std::uint32_t index = shape < 200 ? shape % 21 : input.number();
    fuzz::Payload payload(shape < 250 ? channel_model::bytesOf(index) : input.text(8));
    const unsigned int id = fuzz::identifier(input, 5);
    fuzz::require(sut_->onAppInfoUpdate(id, payload.data(), payload.size()) == 0, "handlers answer 0");
    model_.onAppInfoUpdate(id, payload.data(), payload.size());
  }

  void compareApps() {
    const std::vector<iOSLinkAppInfo>& apps = ((*sut_).*memberOf(SupportInfo())).list;
    fuzz::require(apps.size() == model_.apps.size(), "both know as many apps");
    for (std::size_t i = 0; i < apps.size(); ++i) {
      const App& app = model_.apps[i];
      fuzz::require(apps[i].appId == app.appId && apps[i].iAP1Name == app.iAP1Name && apps[i].appName == app.appName &&
                        apps[i].launchString == app.launchString && apps[i].sessionId == 0 &&
                        apps[i].iAP1Id == app.iAP1Id,
                    "both know the same apps");
    }
    fuzz::require(sut_->getiAP1AppCount() == static_cast<std::uint16_t>(model_.iAP1Counter - 1),
                  "both count the same iAP1 apps");
    fuzz::require(sut_->isSupportediOSLinkAppSpotify() == model_.hasNameWith("spotify"), "both find the name");
    fuzz::require(sut_->isSupportediOSLinkAppPandora() == model_.hasNameWith("pandora"), "both find the name");
  }

  unsigned int onEvent(unsigned int id, void* data, unsigned int size) {
    fuzz::require(id == 0 && data == nullptr && size == 0, "the registry's notification has no payload");
    observed_.push_back("changed");
    return 0;
  }

  Table& table_;
  Lines observed_;
  std::unique_ptr<iOSAppInfoList> copy_{new iOSAppInfoList()};
  RegistryModel model_;
  std::unique_ptr<iOSAppCommonUtil> sut_;
  VQObserver<RegistryPair> observer_{this, &RegistryPair::onEvent};
};

}  // namespace

extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                                                             std::size_t size) {
  static auto* const table = new Table;
  fuzz::beginExecution();
  Input input(data, size);
  RegistryPair(*table).run(input);
  return 0;
}
