#include "mqtt/Settings.h"

#include <gtest/gtest.h>

#include <limits>

using QoPlayer::MsgCenterAddr;
using QoPlayer::MsgCenterConfig;
using QoPlayer::MsgCenterOptions;
using QoPlayer::mqtt::ReadSettings;
using QoPlayer::mqtt::ReadSettingsResult;
using QoPlayer::mqtt::Settings;
using QoPlayer::mqtt::TlsUse;

namespace {

class SettingsTest : public testing::Test {
protected:
    void SetUp() override { setAddresses({{"10.0.0.1", 1883}}); }

    void setAddresses(const std::vector<std::pair<std::string, int>>& addresses) {
        delete[] m_config.addrs;
        m_config.addrs = new MsgCenterAddr[addresses.size()];
        m_config.addrCount = static_cast<std::uint32_t>(addresses.size());
        for (std::size_t i = 0; i < addresses.size(); ++i) {
            m_config.addrs[i].ip = addresses[i].first;
            m_config.addrs[i].port = addresses[i].second;
        }
    }

    ReadSettingsResult read() const { return ReadSettings(m_config, m_options, "a1b2c3d4"); }

    MsgCenterConfig m_config;
    MsgCenterOptions m_options;
};

TEST_F(SettingsTest, ZeroAndEmptyValuesMeanTheUsual) {
    const ReadSettingsResult result = read();
    EXPECT_EQ(result.problem, "");
    EXPECT_TRUE(result.notes.empty());
    EXPECT_EQ(result.settings.client, "a1b2c3d4");
    EXPECT_EQ(result.settings.userName, "a1b2c3d4");
    EXPECT_EQ(result.settings.keepAliveSeconds, 15);
    EXPECT_EQ(result.settings.longestPauseMs, 30'000);
    EXPECT_EQ(result.settings.tls, TlsUse::ExceptLoopback);
    EXPECT_EQ(result.settings.caFile, "");
}

TEST_F(SettingsTest, ValuesAreTakenOver) {
    m_config.intValue1 = 20;
    m_config.intValue2 = 1;
    m_config.int64Value1 = 8000;
    m_config.int64Value2 = 9'007'199'254'740'993;
    m_config.textValue1 = "Studio_7-a";
    m_config.textValue2 = "/etc/ca.pem";
    m_config.accessToken = "t";
    m_config.expireTime = 99;
    const Settings settings = read().settings;
    EXPECT_EQ(settings.keepAliveSeconds, 20);
    EXPECT_EQ(settings.tls, TlsUse::Always);
    EXPECT_EQ(settings.longestPauseMs, 8000);
    EXPECT_EQ(settings.userName, "9007199254740993");
    EXPECT_EQ(settings.client, "Studio_7-a");
    EXPECT_EQ(settings.caFile, "/etc/ca.pem");
    EXPECT_EQ(settings.token, "t");
    EXPECT_EQ(settings.tokenExpiry, 99);
}

TEST_F(SettingsTest, AddressesKeepTheirOrderAndUnusableOnesAreSkipped) {
    setAddresses({{"a.example", 1},
                  {"", 1883},
                  {"b.example", 0},
                  {"b.example", -1},
                  {"b.example", 65536},
                  {"0.0.0.0", 1883},
                  {"white space", 1883},
                  {std::string("zero\0byte", 9), 1883},
                  {"\xff\xfe", 1883},
                  {std::string(10'000'000, 'x'), 1883},
                  {"::1", 65535}});
    const ReadSettingsResult result = read();
    EXPECT_EQ(result.problem, "");
    ASSERT_EQ(result.settings.addresses.size(), 2U);
    EXPECT_EQ(result.settings.addresses[0].host, "a.example");
    EXPECT_EQ(result.settings.addresses[1].host, "::1");
    EXPECT_EQ(result.settings.addresses[1].port, 65535);
    EXPECT_EQ(result.notes.size(), 9U);
    for (const std::string& note : result.notes)
        EXPECT_LT(note.size(), 400U);
}

TEST_F(SettingsTest, WithoutAUsableAddressThereIsAProblem) {
    setAddresses({});
    EXPECT_EQ(read().problem, "no usable server address");
    delete[] m_config.addrs;
    m_config.addrs = nullptr;
    m_config.addrCount = 3;
    EXPECT_EQ(read().problem, "no usable server address");
    setAddresses({{"0.0.0.0", -1}});
    EXPECT_EQ(read().problem, "no usable server address");
}

TEST_F(SettingsTest, AClientNameOfOtherCharactersIsRefused) {
    for (const char* name : {"a.b", "a/b", "a b", "a+", "#", "caf\xc3\xa9", "a\n"}) {
        m_config.textValue1 = name;
        EXPECT_NE(read().problem.find("client name"), std::string::npos) << name;
    }
    m_config.textValue1 = std::string("a\0b", 3);
    EXPECT_NE(read().problem.find("client name"), std::string::npos);
}

TEST_F(SettingsTest, AClientNameMayHave128Characters) {
    m_config.textValue1.assign(128, 'n');
    EXPECT_EQ(read().problem, "");
    m_config.textValue1.assign(129, 'n');
    EXPECT_NE(read().problem, "");
    m_config.textValue1.assign(10'000'000, 'n');
    EXPECT_NE(read().problem, "");
}

TEST_F(SettingsTest, AnUnknownTlsModeIsRefused) {
    m_config.intValue2 = 2;
    EXPECT_EQ(read().settings.tls, TlsUse::Never);
    for (const int mode : {-1, 3, std::numeric_limits<int>::min()}) {
        m_config.intValue2 = mode;
        EXPECT_NE(read().problem, "");
    }
}

TEST_F(SettingsTest, ATokenThatNoConnectionCanCarryIsRefusedWithoutBeingShown) {
    m_config.accessToken = std::string("sec\0ret", 7);
    EXPECT_NE(read().problem, "");
    EXPECT_EQ(read().problem.find("sec"), std::string::npos);
    m_config.accessToken.assign(65536, 's');
    EXPECT_NE(read().problem, "");
    m_config.accessToken.assign(65535, 's');
    EXPECT_EQ(read().problem, "");
}

TEST_F(SettingsTest, NumbersOutOfRangeAreTakenAsTheNearestWithANote) {
    m_config.intValue1 = 4;
    m_config.int64Value1 = 499;
    ReadSettingsResult result = read();
    EXPECT_EQ(result.settings.keepAliveSeconds, 5);
    EXPECT_EQ(result.settings.longestPauseMs, 500);
    EXPECT_EQ(result.notes.size(), 2U);
    m_config.intValue1 = 65536;
    m_config.int64Value1 = std::numeric_limits<std::int64_t>::max();
    result = read();
    EXPECT_EQ(result.settings.keepAliveSeconds, 65535);
    EXPECT_EQ(result.settings.longestPauseMs, 86'400'000);
    m_config.intValue1 = std::numeric_limits<int>::min();
    m_config.int64Value1 = -1;
    result = read();
    EXPECT_EQ(result.settings.keepAliveSeconds, 5);
    EXPECT_EQ(result.settings.longestPauseMs, 500);
}

TEST_F(SettingsTest, OptionsAreTakenOver) {
    m_options.clientCertificate = "/etc/client.pem";
    m_options.alpn = std::string(255, 'a');
    m_options.proxyHost = "proxy.example";
    m_options.proxyPort = 1080;
    m_options.proxyUser = std::string(255, 'u');
    m_options.proxyPassword = std::string(255, 'p');
    const ReadSettingsResult result = read();
    EXPECT_EQ(result.problem, "");
    EXPECT_EQ(result.settings.options.clientCertificate, "/etc/client.pem");
    EXPECT_EQ(result.settings.options.proxyPort, 1080);
}

TEST_F(SettingsTest, AKeyWithoutACertificateIsAProblem) {
    m_options.clientKey = "/etc/client.key";
    EXPECT_EQ(read().problem, "there is a client key, but no client certificate");
}

TEST_F(SettingsTest, AProtocolOfMoreThan255BytesIsAProblem) {
    m_options.alpn = std::string(256, 'a');
    EXPECT_EQ(read().problem, "the ALPN protocol is longer than 255 bytes");
}

TEST_F(SettingsTest, FileNamesWithZeroBytesAreAProblem) {
    m_options.clientCertificate = std::string("a\0b", 3);
    EXPECT_NE(read().problem, "");
    m_options.clientCertificate = "a";
    m_options.clientKey = std::string("\0", 1);
    EXPECT_NE(read().problem, "");
}

TEST_F(SettingsTest, AProxyWithoutAUsableAddressIsAProblem) {
    m_options.proxyPort = 1080;
    EXPECT_EQ(read().problem, "the SOCKS5 proxy has no host");
    m_options.proxyHost = "proxy.example";
    for (const int port : {0, -1, 65536}) {
        m_options.proxyPort = port;
        EXPECT_EQ(read().problem, "unusable SOCKS5 proxy: proxy.example:" + std::to_string(port));
    }
    m_options.proxyHost = "two words";
    m_options.proxyPort = 1080;
    EXPECT_EQ(read().problem, "unusable SOCKS5 proxy: two words:1080");
}

TEST_F(SettingsTest, SecretsThatAProxyCannotBeToldAreAProblemAndAreNotShown) {
    m_options.proxyHost = "proxy.example";
    m_options.proxyPort = 1080;
    for (std::string* const secret : {&m_options.proxyUser, &m_options.proxyPassword}) {
        for (const std::string& text : {std::string(256, 's'), std::string("s\0s", 3)}) {
            *secret = text;
            EXPECT_NE(read().problem, "");
            EXPECT_EQ(read().problem.find("sss"), std::string::npos);
        }
        secret->clear();
    }
}

}  // namespace
