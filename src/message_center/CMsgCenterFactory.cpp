#include "message_center/CMsgCenterFactory.h"

#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "base/JsonText.h"
#include "base/StartResult.h"
#include "base/Sync.h"
#include "message_center/CenterListener.h"
#include "message_center/CenterShare.h"
#include "message_center/ConfigProblem.h"
#include "message_center/FactoryOptions.h"
#include "platform/HostProcess.h"
#include "platform/HostSink.h"
#include "platform/Kernel.h"
#include "platform/Lasting.h"
#include "platform/Log.h"
#include "platform/MsgCenter.h"
#include "platform/MsgCenterWatch.h"

namespace Bas {

struct FactoryAccess {
    static const std::shared_ptr<QoPlayer::MsgCenter>& center(const CMsgCenterFactory& factory, bool main) {
        return main ? factory.m_mainCenter : factory.m_backupCenter;
    }
};

namespace {

struct AddrLists {
    Json::Value main;
    Json::Value backup;
};

/// Held by each Start and Stop: copies of the factory share the centers, so there is one for all.
qolive::Mutex g_oneAtATime;

// The text says how severe it is.
void OnSdkLog(int /*level*/, const char* /*text1*/, const char* text2) {
    Log(LogLevel::Info, "[msgcenter] sdklog: %s", text2 ? text2 : "");
}

Json::Value ReadRoot(const std::string& text) {
    if (text.empty()) throw ConfigProblem("the configuration is empty");
    Json::Value root;
    if (!ParseJson(text, root)) throw ConfigProblem(WhyNotJson(text));
    if (!root.isObject()) throw ConfigProblem("the configuration is no JSON object");
    return root;
}

const Json::Value& ReadList(const Json::Value& gateway, const char* name) {
    const std::string quoted = "\"gatewayDns\".\"" + std::string(name) + "\"";
    if (!gateway.isMember(name)) throw ConfigProblem(quoted + " is missing");
    if (!gateway[name].isArray()) throw ConfigProblem(quoted + " is no array");
    return gateway[name];
}

AddrLists ReadLists(const Json::Value& root) {
    if (!root.isMember("gatewayDns")) throw ConfigProblem("\"gatewayDns\" is missing");
    const Json::Value& gateway = root["gatewayDns"];
    if (!gateway.isObject()) throw ConfigProblem("\"gatewayDns\" is no object");
    return {ReadList(gateway, "main"), ReadList(gateway, "backup")};
}

/// Numbers and booleans count as their texts.
std::string ReadText(const Json::Value& value, const char* name) {
    if (value.isObject() || value.isArray()) throw ConfigProblem(std::string(name) + " is no text");
    return value.asString();
}

std::string ReadToken(const Json::Value& root) {
    std::string token = ReadText(root["accessToken"], "\"accessToken\"");
    if (root.isMember("accessToken") && !root["accessToken"].isString())
        Log(LogLevel::Info, "[LiveState] CMsgCenterFactory::Start warning: \"accessToken\" is no text");
    return token;
}

std::int64_t ReadExpiry(const Json::Value& root) {
    try {
        return root["expireTime"].asInt64();
    } catch (const Json::Exception&) {
        throw ConfigProblem("\"expireTime\" is no 64-bit integer");
    }
}

/// The number that `text` begins with. Other ways to write it than the plain one are taken with a warning.
std::int32_t ReadPort(const std::string& host, const char* text) {
    const auto port = static_cast<std::int32_t>(std::atoll(text));
    if (std::to_string(port) != text)
        Log(LogLevel::Info, "[LiveState] CMsgCenterFactory::Start warning: the port of %s is read as %d",
            host.c_str(), port);
    return port;
}

std::vector<QoPlayer::MsgCenterAddr> ParseAddrList(const Json::Value& list) {
    std::vector<QoPlayer::MsgCenterAddr> result;
    for (const Json::Value& element : list) {
        const std::string text = ReadText(element, "an address");
        const auto colon = text.find(':');
        if (colon == std::string::npos) {
            Log(LogLevel::Error, "[srvTalk] ipaddr error:%s", text.c_str());
            continue;
        }
        QoPlayer::MsgCenterAddr address;
        address.ip = text.substr(0, colon);
        address.port = ReadPort(address.ip, text.c_str() + colon + 1);
        result.push_back(std::move(address));
    }
    return result;
}

/// Gives `config` the addresses of `list`; an empty list leaves it with those that it has.
void SetAddrs(QoPlayer::MsgCenterConfig& config, const Json::Value& list) {
    std::vector<QoPlayer::MsgCenterAddr> parsed = ParseAddrList(list);
    if (parsed.empty()) return;
    auto* const addrs = new QoPlayer::MsgCenterAddr[parsed.size()];
    for (std::size_t i = 0; i < parsed.size(); ++i)
        addrs[i] = std::move(parsed[i]);
    delete[] std::exchange(config.addrs, addrs);
    config.addrCount = static_cast<std::uint32_t>(parsed.size());
}

void SetBase(QoPlayer::MsgCenterConfig& config, const HeartBaseConfig& base) {
    config.intValue1 = base.intValue1;
    config.intValue2 = base.intValue2;
    config.int64Value1 = base.int64Value1;
    config.int64Value2 = base.int64Value2;
    config.textValue1 = base.textValue1;
    config.textValue2 = base.textValue2;
}

}  // namespace

CMsgCenterFactory* CMsgCenterFactory::Inst() {
    struct Instance final : CMsgCenterFactory {};
    static qolive::Lasting<Instance> instance;
    return &instance.object;
}

CMsgCenterFactory::CMsgCenterFactory() {
    QoPlayer::SetLogPtr(&OnSdkLog);
    m_mainCenter.reset(new QoPlayer::MsgCenter());
    m_backupCenter.reset(new QoPlayer::MsgCenter());
    ListenTo(*m_mainCenter, true);
    ListenTo(*m_backupCenter, false);
}

CMsgCenterFactory::CMsgCenterFactory(const CMsgCenterFactory& other)
    : m_mainCenter(other.m_mainCenter),
      m_backupCenter(other.m_backupCenter),
      m_bBackupStarted(other.m_bBackupStarted.load()),
      m_bMainStarted(other.m_bMainStarted.load()) {}

CMsgCenterFactory& CMsgCenterFactory::operator=(const CMsgCenterFactory& other) {
    if (this == &other) return *this;
    m_mainCenter = other.m_mainCenter;
    m_backupCenter = other.m_backupCenter;
    m_bBackupStarted.exchange(other.m_bBackupStarted);
    m_bMainStarted.exchange(other.m_bMainStarted);
    return *this;
}

CMsgCenterFactory::~CMsgCenterFactory() {
    m_mainCenter.reset();
    m_bMainStarted.exchange(false);
    m_backupCenter.reset();
    m_bBackupStarted.exchange(false);
}

int CMsgCenterFactory::Start(const std::string& config, const HeartBaseConfig& base) {
    if (IsProcessEnding()) return qolive::kNotStarted;
    Log(LogLevel::Info, "[LiveState] CMsgCenterFactory::Start 1");
    if (m_bMainStarted) return qolive::kAlreadyStarted;
    if (IsInLogSink()) return qolive::kNotStarted;
    try {
        const qolive::MutexLock lock(g_oneAtATime);
        if (m_bMainStarted) return qolive::kAlreadyStarted;
        StartCenters(config, base);
        return qolive::kStarted;
    } catch (const ConfigProblem& problem) {
        TellFailedStart(problem.what());
    } catch (const std::bad_alloc&) {
        TellFailedStart("out of memory");
    } catch (const Json::Exception&) {
        TellFailedStart("the configuration nests deeper than 1000 levels, or memory is short");
    } catch (...) {
        TellFailedStart("a message center raised an error");
    }
    return qolive::kNotStarted;
}

void CMsgCenterFactory::TellFailedStart(const char* why) const {
    Log(LogLevel::Info, "[LiveState] CMsgCenterFactory::Start failed: %s%s", why,
        m_bMainStarted ? "; the main center runs, so Stop is due before another Start" : "");
}

void CMsgCenterFactory::StartCenters(const std::string& text, const HeartBaseConfig& base) {
    const Json::Value root = ReadRoot(text);
    const AddrLists lists = ReadLists(root);
    UseOptions(ReadFactoryOptions(root));
    QoPlayer::MsgCenterConfig config;
    SetAddrs(config, lists.main);
    SetBase(config, base);
    config.accessToken = ReadToken(root);
    config.expireTime = ReadExpiry(root);
    if (!StartMain(config)) throw ConfigProblem("the main center does not start");
    SetAddrs(config, lists.backup);
    StartBackup(config);
}

void CMsgCenterFactory::UseOptions(const FactoryOptions& options) {
    const bool taken = QoPlayer::MsgCenterWatch(*m_mainCenter).setOptions(options.center) &&
                       QoPlayer::MsgCenterWatch(*m_backupCenter).setOptions(options.center);
    if (!taken && !options.center.isEmpty())
        throw ConfigProblem("this message-center library has no options");
    SetHostProcess(options.hostProcess);
}

bool CMsgCenterFactory::StartMain(const QoPlayer::MsgCenterConfig& config) {
    m_bMainStarted.exchange(false);
    if (!m_mainCenter->start(config)) return false;
    m_bMainStarted.exchange(true);
    return true;
}

void CMsgCenterFactory::StartBackup(const QoPlayer::MsgCenterConfig& config) {
    m_bBackupStarted.exchange(false);
    if (m_backupCenter->start(config)) m_bBackupStarted.exchange(true);
}

// A sink may be running on the very thread that a stop waits for.
void CMsgCenterFactory::Stop() {
    if (IsInLogSink() || IsProcessEnding()) return;
    Log(LogLevel::Info, "[LiveState] CMsgCenterFactory::Stop start");
    StopCenters();
    Log(LogLevel::Info, "[LiveState] CMsgCenterFactory::Stop finish");
}

void CMsgCenterFactory::StopCenters() {
    const qolive::MutexLock lock(g_oneAtATime);
    if (m_mainCenter) {
        m_mainCenter->stop();
        m_bMainStarted.exchange(false);
    }
    if (m_backupCenter) {
        m_backupCenter->stop();
        m_bBackupStarted.exchange(false);
    }
}

QoPlayer::MsgCenter* CMsgCenterFactory::GetFactoryObj(bool main) {
    return FactoryAccess::center(*this, main).get();
}

bool CMsgCenterFactory::IsHaveBKCenter() {
    return m_bBackupStarted && !IsProcessEnding();
}

bool CMsgCenterFactory::IsMainCenterStartOK() {
    return m_bMainStarted && !IsProcessEnding();
}

std::shared_ptr<QoPlayer::MsgCenter> ShareCenter(bool main) {
    return FactoryAccess::center(*CMsgCenterFactory::Inst(), main);
}

}  // namespace Bas
