// A host that derives from the classes that are made for it, and reaches their protected operations.

#include <cstdint>
#include <typeinfo>

#include <qolive_report/heartbeat/LiveHeartReport.h>
#include <qolive_report/heartbeat/LiveHeartReportManager.h>
#include <qolive_report/message_center/CMsgCenterFactory.h>

namespace {

class OwnHeartbeat final : public LiveHeartReport {
public:
    using LiveHeartReport::run;

    bool reportOnMain(std::int64_t nowMs) { return report(m_mainSender, nowMs, false); }
    bool sendOldestCommand() { return LiveHeartReport::sendComand(); }
};

class OwnManager final : public LiveHeartReportManager {};

class OwnFactory final : public Bas::CMsgCenterFactory {};

template <class Own, class Base>
bool isOwn(Base& object) {
    return typeid(object) == typeid(Own) && dynamic_cast<Own*>(&object) != nullptr;
}

}  // namespace

int main() {
    OwnHeartbeat heartbeat;
    LiveHeartReport& asBase = heartbeat;
    LiveHeartReport plain;
    if (!isOwn<OwnHeartbeat>(asBase) || isOwn<OwnHeartbeat>(plain)) return 1;
    if (asBase.start() != 1) return 2;
    if (!asBase.sendComand(1, "{}")) return 3;
    if (heartbeat.sendOldestCommand() || heartbeat.reportOnMain(0)) return 4;  // nothing is connected
    asBase.stop();
    heartbeat.run();  // ends at once, as it is stopped

    OwnManager manager;
    int mode = 0;
    if (!isOwn<OwnManager, LiveHeartReportManager>(manager)) return 5;
    if (manager.startLiveheart("{}", mode) != 1) return 6;
    manager.stopLiveheart();

    OwnFactory factory;
    return factory.GetFactoryObj(true) != nullptr ? 0 : 7;
}
