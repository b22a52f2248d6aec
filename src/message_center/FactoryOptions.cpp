#include "message_center/FactoryOptions.h"

#include <utility>

#include "message_center/ConfigProblem.h"
#include "platform/Log.h"

namespace Bas {
namespace {

constexpr char kOptions[] = "options";
constexpr char kProxy[] = "socks5";

/// Takes the members of one object one by one; what nobody has taken is not known.
class Members {
public:
    /// `what` names the object in lines of the log.
    Members(const Json::Value& object, std::string what) : m_left(object), m_what(std::move(what)) {
        if (!m_left.isNull() && !m_left.isObject()) refuse(m_what, "an object");
    }

    void take(const char* key, std::string& text) {
        const Json::Value value = remove(key);
        if (value.isString())
            text = value.asString();
        else if (!value.isNull())
            refuse(nameOf(key), "a text");
    }

    void take(const char* key, int& number) {
        const Json::Value value = remove(key);
        if (value.isInt())
            number = value.asInt();
        else if (!value.isNull())
            refuse(nameOf(key), "an integer");
    }

    Json::Value remove(const char* key) {
        Json::Value value;
        if (m_left.isObject()) m_left.removeMember(key, &value);
        return value;
    }

    void tellUnknown() const {
        if (!m_left.isObject()) return;
        for (const std::string& key : m_left.getMemberNames())
            Log(LogLevel::Info, "[LiveState] CMsgCenterFactory::Start warning: unknown \"%s\" ignored",
                nameOf(key).c_str());
    }

private:
    std::string nameOf(const std::string& key) const { return m_what + "." + key; }

    [[noreturn]] static void refuse(const std::string& what, const char* type) {
        throw ConfigProblem("\"" + what + "\" is not " + type);
    }

    Json::Value m_left;
    const std::string m_what;
};

}  // namespace

FactoryOptions ReadFactoryOptions(const Json::Value& root) {
    FactoryOptions options;
    Members members(root[kOptions], kOptions);
    Members proxy(members.remove(kProxy), std::string(kOptions) + "." + kProxy);
    members.take("clientCertificate", options.center.clientCertificate);
    members.take("clientKey", options.center.clientKey);
    members.take("alpn", options.center.alpn);
    members.take("hostProcess", options.hostProcess);
    proxy.take("host", options.center.proxyHost);
    proxy.take("port", options.center.proxyPort);
    proxy.take("user", options.center.proxyUser);
    proxy.take("password", options.center.proxyPassword);
    members.tellUnknown();
    proxy.tellUnknown();
    return options;
}

}  // namespace Bas
