#include "fuzz/FuzzTarget.h"
#include "message_center/CMsgCenterFactory.h"

// Any text as the configuration of the message centers.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::SilenceLog();
    Bas::CMsgCenterFactory& factory = *Bas::CMsgCenterFactory::Inst();
    const int result = factory.Start(fuzz::TextOf(data, size), Bas::HeartBaseConfig());
    fuzz::Require(result == 0 || result == 1);
    fuzz::Require(result == 0 || factory.IsMainCenterStartOK());
    fuzz::Require(result == 1 || !factory.IsHaveBKCenter());
    factory.Stop();
    fuzz::Require(!factory.IsMainCenterStartOK());
    return 0;
}
