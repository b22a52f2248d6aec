#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "integration/support/Broker.h"
#include "integration/support/Recorder.h"
#include "integration/support/Wire.h"
#include "platform/MsgCenter.h"
#include "support/Eventually.h"
#include "support/Loopback.h"

/// What the message center has logged in this process.
class CenterLog {
public:
    struct Line {
        int level;
        std::string text;
    };
    static void install();
    static std::vector<Line> lines();
    static std::size_t count(const std::string& part);
    static bool waitFor(const std::string& part, std::size_t count = 1);
    static std::string all();
};

/// A configuration for the server on `port` of the loopback interface.
class Config {
public:
    explicit Config(int port) : Config(std::vector<std::pair<std::string, int>>{{"127.0.0.1", port}}) {}
    explicit Config(const std::vector<std::pair<std::string, int>>& addresses);

    Config(Config&& from) noexcept;

    QoPlayer::MsgCenterConfig* operator->() { return &m_config; }
    operator const QoPlayer::MsgCenterConfig&() const { return m_config; }

    /// The first address as the center names it when it is found at 127.0.0.1.
    std::string host() const;

private:
    QoPlayer::MsgCenterConfig m_config;
};

/// Hands `body` to the sender.
bool Send(QoPlayer::MsgSender* sender, const std::string& body);
bool Send(QoPlayer::MsgSender* sender, const std::string& body, const std::string& head);

/// Stops `center` and checks the time that it takes.
void StopWithinASecond(QoPlayer::MsgCenter& center);

class CenterTest : public testing::Test {
protected:
    void SetUp() override { CenterLog::install(); }

    // Before the center, whose end they still hear of.
    support::Recorder m_recorder;
    support::Recorder m_other;
    QoPlayer::MsgCenter m_center;
};
