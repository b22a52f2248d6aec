#include "host/Options.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "base/JsonText.h"
#include "common/CommandLine.h"
#include "host/Catalogue.h"

namespace host {
namespace {

Json::Value Config(const std::vector<std::string>& arguments) {
    Json::Value value;
    EXPECT_TRUE(ParseJson(FactoryConfig(ParseOptions(arguments)), value));
    return value;
}

std::string FileWith(const std::string& text) {
    std::string path = testing::TempDir() + "qolive-options-" + std::to_string(getpid());
    std::ofstream(path, std::ios::trunc) << text;
    return path;
}

TEST(Options, TheAddressListsBecomeTheConfiguration) {
    const Json::Value config = Config({"--main", "a:1,b:2", "--backup", "c:3"});
    EXPECT_EQ(WriteCompactJson(config),
              "{\"gatewayDns\":{\"backup\":[\"c:3\"],\"main\":[\"a:1\",\"b:2\"]}}\n");
}

TEST(Options, AnIPv6AddressInBracketsIsHandedOnWithoutColons) {
    const Json::Value config = Config({"--main", "[2001:db8::1]:8883,a:1", "--backup", "[fe80::1%2]:1883"});
    EXPECT_EQ(config["gatewayDns"]["main"][0], "2001-db8--1.ipv6-literal.net:8883");
    EXPECT_EQ(config["gatewayDns"]["main"][1], "a:1");
    EXPECT_EQ(config["gatewayDns"]["backup"][0], "fe80--1s2.ipv6-literal.net:1883");
}

TEST(Options, WithoutAnyABrokerOnThisMachineIsMeant) {
    EXPECT_EQ(WriteCompactJson(Config({})),
              "{\"gatewayDns\":{\"backup\":[],\"main\":[\"127.0.0.1:1883\"]}}\n");
}

TEST(Options, TheTokenComesFromAFileOrTheEnvironment) {
    setenv("QOLIVE_TOKEN", "from-environment", 1);
    EXPECT_EQ(Config({})["accessToken"], "from-environment");
    EXPECT_EQ(Config({"--token-file", FileWith("from-file\n")})["accessToken"], "from-file");
    EXPECT_EQ(Config({"--token-expires", "1900000000"})["expireTime"].asInt64(), 1900000000);
    unsetenv("QOLIVE_TOKEN");
    EXPECT_FALSE(Config({}).isMember("accessToken"));
}

TEST(Options, AConfigurationFileIsUsedAsItIs) {
    const std::string path =
        FileWith(R"({"gatewayDns":{"main":["m:1"],"backup":["b:2"]},"accessToken":"t","x":1})");
    const Json::Value config = Config({"--config", path});
    EXPECT_EQ(config["gatewayDns"]["main"][0], "m:1");
    EXPECT_EQ(config["accessToken"], "t");
    EXPECT_EQ(config["x"], 1);
}

TEST(Options, AConfigurationFileThatCannotBeUsedIsNamed) {
    for (const std::string& text :
         {std::string(), std::string("x"), std::string("[]"), std::string(5000, '[')})
        EXPECT_THROW(Config({"--config", FileWith(text)}), apps::UsageError);
    EXPECT_THROW(Config({"--config", "/missing"}), apps::UsageError);
}

TEST(Options, ThePassThroughValuesAreSet) {
    const Options options = ParseOptions({"--tls", "never", "--ca", "ca.pem", "--client", "studio",
                                          "--user-id", "9", "--keep-alive", "5", "--longest-pause", "1000"});
    EXPECT_EQ(options.base.intValue1, 5);
    EXPECT_EQ(options.base.intValue2, 2);
    EXPECT_EQ(options.base.int64Value1, 1000);
    EXPECT_EQ(options.base.int64Value2, 9);
    EXPECT_EQ(options.base.textValue1, "studio");
    EXPECT_EQ(options.base.textValue2, "ca.pem");
}

TEST(Options, AnAuthorityMeansTlsUnlessItIsSaidOtherwise) {
    EXPECT_EQ(ParseOptions({}).base.intValue2, 0);
    EXPECT_EQ(ParseOptions({"--ca", "ca.pem"}).base.intValue2, 1);
    EXPECT_EQ(ParseOptions({"--ca", "ca.pem", "--tls", "auto"}).base.intValue2, 0);
    EXPECT_EQ(ParseOptions({"--tls", "never", "--ca", "ca.pem"}).base.intValue2, 2);
}

TEST(Options, WrongValuesAreRefused) {
    for (const std::vector<std::string>& wrong :
         std::vector<std::vector<std::string>>{{"--main", "nowhere"},
                                               {"--main", ":1"},
                                               {"--main", "[2001:db8::1]"},
                                               {"--main", "[2001:db8::1]:0"},
                                               {"--main", "[name]:1"},
                                               {"--main", "[]:1"},
                                               {"--main", "2001:db8::1:8883"},
                                               {"--main", "a:0"},
                                               {"--main", "a:65536"},
                                               {"--main", ""},
                                               {"--backup", "a:1,,b:2"},
                                               {"--tls", "perhaps"},
                                               {"--keep-alive", "0"},
                                               {"--duration", "-1"},
                                               {"--token-file", "/missing"}})
        EXPECT_THROW(ParseOptions(wrong), apps::UsageError) << wrong[0] << " " << wrong[1];
}

TEST(Options, HelpNamesEveryActionAndTheDefaultScript) {
    const Actions actions = Catalogue({});
    const std::string help = HelpText(actions);
    for (const Action& action : actions)
        EXPECT_NE(help.find("  " + Usage(action) + "\n"), std::string::npos) << action.name;
    EXPECT_NE(help.find(DefaultScript(640, 360)), std::string::npos);
}

}  // namespace
}  // namespace host
