#pragma once

#include <string>

#include "../base/Export.h"

/// Facts about the current live session that the host sets and reads. A plain holder that nothing in the
/// library reacts to.
///
/// Every operation may be called from any thread; one process-wide lock, held for the operation only, guards
/// all objects of the class. Copying is the exception: it takes no lock, so nobody may write either object
/// meanwhile. No operation fails.
class CLiveCommonInfo {
public:
    QOLIVE_API CLiveCommonInfo();
    QOLIVE_API CLiveCommonInfo(const CLiveCommonInfo&);
    QOLIVE_API CLiveCommonInfo& operator=(const CLiveCommonInfo&);
    QOLIVE_API ~CLiveCommonInfo();

    /// The one instance that the host shares; never null, lives until the library is unloaded.
    QOLIVE_API static CLiveCommonInfo* GetInstance();

    /// Says that a talk session went live (`living` true) or ended, and under which identifier. Notes the
    /// current time as enter time or as leave time; the other time stays as it was.
    QOLIVE_API void SetTalkLiving(bool living, int sdkId);

    /// Whether a talk session is live; false until set.
    QOLIVE_API bool IsTalkLiving();

    /// When a talk session last went live and last ended, in seconds since 1970-01-01 UTC; 0 = never.
    QOLIVE_API long long GetEnterTalkTime();
    QOLIVE_API long long GetLeaveTalkTime();

    /// The identifier given with the last SetTalkLiving; 0 until then.
    QOLIVE_API int GetSdkId();

    /// The microphone type, the host's own number; 0 until set.
    QOLIVE_API void SetMicType(int type);
    QOLIVE_API int GetMicType();

    /// The mix mode; 0 until set. 2 means that the client mixes the streams itself.
    QOLIVE_API void SetMixMode(int mode);
    QOLIVE_API int GetMixMode();

    /// True exactly when the mix mode is 2.
    QOLIVE_API bool GetIsClientMix();

    /// The layout type, any text; "none" until set. An empty text is kept as it is.
    QOLIVE_API void SetLayoutType(std::string layout);
    QOLIVE_API std::string GetLayoutType();

    /// The super-sharp flag; false until set.
    QOLIVE_API void SetSuperSharp(bool on);
    QOLIVE_API bool GetSuperSharp();

private:
    bool m_bTalkLiving = false;
    long long m_enterTalkTime = 0;
    long long m_leaveTalkTime = 0;
    int m_sdkId = 0;
    int m_micType = 0;
    int m_mixMode = 0;
    std::string m_layoutType = "none";
    bool m_bSuperSharp = false;
};
