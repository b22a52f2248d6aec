#include "integration/support/Wire.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "support/Eventually.h"

namespace support {
namespace {

constexpr char kProbeTopic[] = "probe";

std::vector<std::string> CommandOf(const char* program, const Broker& broker, const WireClient& client) {
    std::vector<std::string> command = {
        program, "-V", "5", "-h", broker.address(), "-p", std::to_string(broker.port()), "-q", "1"};
    const auto add = [&command](const char* option, const std::string& value) {
        if (value.empty()) return;
        command.emplace_back(option);
        command.push_back(value);
    };
    add("-u", client.user);
    add("-P", client.password);
    add("--cafile", client.caFile);
    if (!client.caFile.empty()) command.emplace_back("--insecure");
    return command;
}

int NibbleOf(char digit) {
    return digit <= '9' ? digit - '0' : digit - 'a' + 10;
}

std::string BytesOfHex(const std::string& line, std::size_t begin) {
    std::string bytes((line.size() - begin) / 2, '\0');
    const char* digits = line.data() + begin;
    for (char& byte : bytes) {
        byte = static_cast<char>(NibbleOf(digits[0]) << 4 | NibbleOf(digits[1]));
        digits += 2;
    }
    return bytes;
}

WireMessage Parse(const std::string& line) {
    std::vector<std::string> fields;
    std::size_t begin = 0;
    while (fields.size() < 6) {
        const std::size_t end = line.find('\t', begin);
        if (end == std::string::npos) throw std::runtime_error("unexpected line from mosquitto_sub: " + line);
        fields.push_back(line.substr(begin, end - begin));
        begin = end + 1;
    }
    WireMessage message;
    message.topic = fields[0];
    message.qos = std::stoi(fields[1]);
    message.retained = fields[2] == "1";
    message.contentType = fields[3];
    message.responseTopic = fields[4];
    message.userProperties = fields[5];
    message.payload = BytesOfHex(line, begin);
    return message;
}

bool EndsWith(const std::string& text, const std::string& ending) {
    return text.size() >= ending.size() &&
           text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

}  // namespace

std::string WireMessage::head() const {
    const std::string name = "head:";
    return userProperties.compare(0, name.size(), name) == 0 ? userProperties.substr(name.size()) : "";
}

WireWatcher::WireWatcher(const Broker& broker, const WireClient& client, const std::string& topicFilter) {
    std::vector<std::string> command = CommandOf("mosquitto_sub", broker, client);
    for (const std::string& part :
         {std::string("-t"), topicFilter, std::string("-t"), std::string(kProbeTopic), std::string("-F"),
          std::string("%t\t%q\t%r\t%C\t%R\t%P\t%x")})
        command.push_back(part);
    m_process = std::make_unique<Process>(command, m_folder.path("output"), m_folder.path("errors"));
    const bool subscribed = Eventually([&] {
        Publish(broker, kProbeTopic, "probe", client);
        return Eventually([this] { return !on(kProbeTopic).empty(); }, std::chrono::milliseconds(50));
    });
    if (!subscribed)
        throw std::runtime_error("mosquitto_sub hears nothing: " + ReadFile(m_folder.path("errors")));
}

WireWatcher::~WireWatcher() = default;

void WireWatcher::read() {
    std::ifstream file(m_folder.path("output"), std::ios::binary);
    file.seekg(static_cast<std::streamoff>(m_offset));
    for (std::string line; std::getline(file, line) && !file.eof();) {
        m_offset += line.size() + 1;
        m_messages.push_back(Parse(line));
    }
}

std::vector<WireMessage> WireWatcher::messages() {
    read();
    return m_messages;
}

std::vector<WireMessage> WireWatcher::on(const std::string& topicEnding) {
    read();
    std::vector<WireMessage> found;
    std::copy_if(m_messages.begin(), m_messages.end(), std::back_inserter(found),
                 [&](const WireMessage& message) { return EndsWith(message.topic, topicEnding); });
    return found;
}

bool WireWatcher::waitFor(const std::string& topicEnding, std::size_t count) {
    return Eventually([&] { return on(topicEnding).size() >= count; });
}

void Publish(const Broker& broker, const std::string& topic, const std::string& payload,
             const WireClient& client) {
    const TempFolder folder;
    std::vector<std::string> command = CommandOf("mosquitto_pub", broker, client);
    for (const std::string& part :
         {std::string("-t"), topic, std::string("-f"), folder.write("payload", payload)})
        command.push_back(part);
    Run(command);
}

}  // namespace support
