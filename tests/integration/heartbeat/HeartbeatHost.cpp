#include <chrono>
#include <cstdlib>
#include <string>

#include "heartbeat/LiveHeartReport.h"
#include "heartbeat/LiveHeartReportManager.h"
#include "message_center/CMsgCenterFactory.h"
#include "support/Eventually.h"

// A host that starts everything and stops nothing: HeartbeatHost MAIN-PORT BACKUP-PORT ENDING [KEEP-ALIVE],
// where ENDING is "never", "when-connected" or "at-once" and KEEP-ALIVE is that of both connections, in
// seconds.

namespace {

constexpr std::chrono::seconds kLongestLife{180};

std::string AddressOf(const char* port) {
    return std::string("\"127.0.0.1:") + port + "\"";
}

bool BothReported() {
    std::int64_t mainTm = -1;
    std::int64_t backTm = -1;
    LiveHeartReport::GetInstance()->GetLastReportTm(mainTm, backTm);
    return mainTm > 0 && backTm > 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4 && argc != 5) return 2;
    Bas::HeartBaseConfig base;
    base.textValue1 = "studio-7";
    if (argc == 5) base.intValue1 = std::atoi(argv[4]);
    const std::string config =
        R"({"gatewayDns":{"main":[)" + AddressOf(argv[1]) + R"(],"backup":[)" + AddressOf(argv[2]) + "]}}";
    if (Bas::CMsgCenterFactory::Inst()->Start(config, base) != 1) return 3;
    int mode = 0;
    if (LiveHeartReportManager::GetInstance()->startLiveheart("{}", mode) != 1) return 4;
    const std::string ending = argv[3];
    if (ending == "never") support::Eventually([] { return false; }, kLongestLife);
    if (ending == "when-connected") support::Eventually(&BothReported, kLongestLife);
    return 0;
}
