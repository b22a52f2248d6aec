#include "session/CLiveCommonInfo.h"

#include <utility>

#include "platform/Kernel.h"
#include "platform/Sync.h"

namespace {

constexpr int kClientMixes = 2;

CriticalSection g_liveCommonLock;

}  // namespace

CLiveCommonInfo::CLiveCommonInfo() = default;
CLiveCommonInfo::CLiveCommonInfo(const CLiveCommonInfo&) = default;
CLiveCommonInfo& CLiveCommonInfo::operator=(const CLiveCommonInfo&) = default;
CLiveCommonInfo::~CLiveCommonInfo() = default;

CLiveCommonInfo* CLiveCommonInfo::GetInstance() {
    static CLiveCommonInfo instance;
    return &instance;
}

void CLiveCommonInfo::SetTalkLiving(bool living, int sdkId) {
    const CriticalSectionLock lock(g_liveCommonLock);
    m_bTalkLiving = living;
    m_sdkId = sdkId;
    (living ? m_enterTalkTime : m_leaveTalkTime) = _time64(nullptr);
}

bool CLiveCommonInfo::IsTalkLiving() {
    const CriticalSectionLock lock(g_liveCommonLock);
    return m_bTalkLiving;
}

long long CLiveCommonInfo::GetEnterTalkTime() {
    const CriticalSectionLock lock(g_liveCommonLock);
    return m_enterTalkTime;
}

long long CLiveCommonInfo::GetLeaveTalkTime() {
    const CriticalSectionLock lock(g_liveCommonLock);
    return m_leaveTalkTime;
}

int CLiveCommonInfo::GetSdkId() {
    const CriticalSectionLock lock(g_liveCommonLock);
    return m_sdkId;
}

void CLiveCommonInfo::SetMicType(int type) {
    const CriticalSectionLock lock(g_liveCommonLock);
    m_micType = type;
}

int CLiveCommonInfo::GetMicType() {
    const CriticalSectionLock lock(g_liveCommonLock);
    return m_micType;
}

void CLiveCommonInfo::SetMixMode(int mode) {
    const CriticalSectionLock lock(g_liveCommonLock);
    m_mixMode = mode;
}

int CLiveCommonInfo::GetMixMode() {
    const CriticalSectionLock lock(g_liveCommonLock);
    return m_mixMode;
}

bool CLiveCommonInfo::GetIsClientMix() {
    const CriticalSectionLock lock(g_liveCommonLock);
    return m_mixMode == kClientMixes;
}

void CLiveCommonInfo::SetLayoutType(std::string layout) {
    const CriticalSectionLock lock(g_liveCommonLock);
    m_layoutType = std::move(layout);
}

std::string CLiveCommonInfo::GetLayoutType() {
    const CriticalSectionLock lock(g_liveCommonLock);
    return m_layoutType;
}

void CLiveCommonInfo::SetSuperSharp(bool on) {
    const CriticalSectionLock lock(g_liveCommonLock);
    m_bSuperSharp = on;
}

bool CLiveCommonInfo::GetSuperSharp() {
    const CriticalSectionLock lock(g_liveCommonLock);
    return m_bSuperSharp;
}
