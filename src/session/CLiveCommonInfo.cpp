#include "session/CLiveCommonInfo.h"

#include <utility>

#include "platform/Kernel.h"
#include "platform/KernelLocks.h"
#include "platform/Lasting.h"

namespace {

constexpr int kClientMixes = 2;

qolive::CriticalSection g_liveCommonLock;

}  // namespace

CLiveCommonInfo::CLiveCommonInfo() = default;
CLiveCommonInfo::CLiveCommonInfo(const CLiveCommonInfo&) = default;
CLiveCommonInfo& CLiveCommonInfo::operator=(const CLiveCommonInfo&) = default;
CLiveCommonInfo::~CLiveCommonInfo() = default;

CLiveCommonInfo* CLiveCommonInfo::GetInstance() {
    static qolive::Lasting<CLiveCommonInfo> instance;
    return &instance.object;
}

void CLiveCommonInfo::SetTalkLiving(bool living, int sdkId) {
    if (IsProcessEnding()) return;
    const qolive::CriticalSectionLock lock(g_liveCommonLock);
    m_bTalkLiving = living;
    m_sdkId = sdkId;
    (living ? m_enterTalkTime : m_leaveTalkTime) = _time64(nullptr);
}

bool CLiveCommonInfo::IsTalkLiving() {
    if (IsProcessEnding()) return false;
    const qolive::CriticalSectionLock lock(g_liveCommonLock);
    return m_bTalkLiving;
}

long long CLiveCommonInfo::GetEnterTalkTime() {
    if (IsProcessEnding()) return 0;
    const qolive::CriticalSectionLock lock(g_liveCommonLock);
    return m_enterTalkTime;
}

long long CLiveCommonInfo::GetLeaveTalkTime() {
    if (IsProcessEnding()) return 0;
    const qolive::CriticalSectionLock lock(g_liveCommonLock);
    return m_leaveTalkTime;
}

int CLiveCommonInfo::GetSdkId() {
    if (IsProcessEnding()) return 0;
    const qolive::CriticalSectionLock lock(g_liveCommonLock);
    return m_sdkId;
}

void CLiveCommonInfo::SetMicType(int type) {
    if (IsProcessEnding()) return;
    const qolive::CriticalSectionLock lock(g_liveCommonLock);
    m_micType = type;
}

int CLiveCommonInfo::GetMicType() {
    if (IsProcessEnding()) return 0;
    const qolive::CriticalSectionLock lock(g_liveCommonLock);
    return m_micType;
}

void CLiveCommonInfo::SetMixMode(int mode) {
    if (IsProcessEnding()) return;
    const qolive::CriticalSectionLock lock(g_liveCommonLock);
    m_mixMode = mode;
}

int CLiveCommonInfo::GetMixMode() {
    if (IsProcessEnding()) return 0;
    const qolive::CriticalSectionLock lock(g_liveCommonLock);
    return m_mixMode;
}

bool CLiveCommonInfo::GetIsClientMix() {
    if (IsProcessEnding()) return false;
    const qolive::CriticalSectionLock lock(g_liveCommonLock);
    return m_mixMode == kClientMixes;
}

void CLiveCommonInfo::SetLayoutType(std::string layout) {
    if (IsProcessEnding()) return;
    const qolive::CriticalSectionLock lock(g_liveCommonLock);
    m_layoutType = std::move(layout);
}

std::string CLiveCommonInfo::GetLayoutType() {
    if (IsProcessEnding()) return {};
    const qolive::CriticalSectionLock lock(g_liveCommonLock);
    return m_layoutType;
}

void CLiveCommonInfo::SetSuperSharp(bool on) {
    if (IsProcessEnding()) return;
    const qolive::CriticalSectionLock lock(g_liveCommonLock);
    m_bSuperSharp = on;
}

bool CLiveCommonInfo::GetSuperSharp() {
    if (IsProcessEnding()) return false;
    const qolive::CriticalSectionLock lock(g_liveCommonLock);
    return m_bSuperSharp;
}
