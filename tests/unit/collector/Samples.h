#pragma once

#include <string>

// Messages as broadcasters send them, for the tests to send and to spoil.

namespace collector::samples {

inline const std::string kKeepAlive = R"({"order":17,"ts":1700000003000,"type":2})";

inline const std::string kIdle =
    R"({"liveStatus":2,"micStatus":2,"order":16,"sessionId":"","ts":1700000000000,"type":1})";

inline const std::string kLive =
    R"({"liveInfo":{"business":1,"codec":1,"height":1080,"pushStatus":2,"sid":3,"streamName":"show",)"
    R"("videoAppId":5,"width":1920},"liveStatus":1,"micInfo":{"business":1,"channelId":"c","micCodec":1,)"
    R"("micHeight":720,"micPushStatus":1,"micWidth":1280,"mixCodec":1,"mixHeight":1080,"mixMode":2,"mixSid":4,)"
    R"("mixStatus":1,"mixStreamName":"mix","mixWidth":1920,"role":1,"sid":6,"streamName":"guest",)"
    R"("videoAppId":5},"micStatus":1,"order":18,"sessionId":"s-1","ts":1700000006000,"type":1})";

inline const std::string kCommand = R"({"bizType":7,"data":"{\"text\":\"hello\"}"})";

inline const std::string kFirstFrame =
    R"({"code":0,"duration":412,"firstFrameTime":1700000000412,"startTime":1700000000000,"state":1})";

inline std::string Head(const std::string& mid, int type) {
    return R"({"event":2,"mid":")" + mid + R"(","type":)" + std::to_string(type) + "}";
}

inline std::string StreamRecord(const std::string& sid, const std::string& streamId) {
    return R"({"aBitrate":128,"appId":1,"clarity":2,"code":0,"codec":1,"cpu":"x","cpuAppUsage":1,"cpuUsage":2,)"
           R"("devId":"d","devName":"windows","encodeType":1,"endTime":0,"fps":25,"height":720,"liveType":1,)"
           R"("memory":16,"network":1,"pid":1,"protocol":1,"provider":1,"requestTime":1700000000000,)"
           R"("responseTime":1,"roomId":1,"serverIp":"127.0.0.1","sid":")" +
           sid + R"(","startTime":1,"state":1,"streamId":")" + streamId +
           R"(","t":1700000000000,"uid":1,"url":"udp://127.0.0.1","vBitrate":2500,"ver":"1","width":1280})";
}

inline std::string Quality(unsigned order, const std::string& sid) {
    return R"({"aBitrateAvg":128,"devices":[{"collectTime":1,"cpuAppUsage":5,"cpuUsage":20,"mem":40,"nt":0,)"
           R"("rbr":2,"sbr":1}],"lostFrames":0,"order":)" +
           std::to_string(order) + R"(,"sid":")" + sid +
           R"(","streams":[{"acFps":43,"aeBitrate":128,"aeFps":43,"asBitrate":127,"asFps":43,"collectTime":1,)"
           R"("vcFps":25,"veBitrate":2500,"veFps":25,"vsBitrate":2490,"vsFps":25}],"t":1,"vBitrateAvg":2490})";
}

}  // namespace collector::samples
