#pragma once

#include <string>

#include "../base/Export.h"

/// Who is logged in. A plain holder that nothing in the library reacts to.
///
/// It has no lock: one thread at a time sets or reads it. GetInstance may be called from any thread. No
/// operation blocks or fails.
class QoUser {
public:
    QOLIVE_API QoUser();
    QOLIVE_API QoUser(const QoUser&);
    QOLIVE_API QoUser& operator=(const QoUser&);
    QOLIVE_API ~QoUser();

    /// The one instance that the host shares; never null, lives until the library is unloaded.
    QOLIVE_API static QoUser* GetInstance();

    /// The login token, any bytes; empty until set. It is never logged and never sent.
    QOLIVE_API void SetLoginToken(const std::string& token);
    QOLIVE_API std::string GetLoginToken();

    /// The user id text, any bytes; empty until set.
    QOLIVE_API void SetBreloId(const std::string& id);
    QOLIVE_API std::string GetBreloId();

    /// The tag room type, the host's own number; 0 until set.
    QOLIVE_API void SetTagRoomType(int type);
    QOLIVE_API int GetTagRoomType();

private:
    std::string m_breloId;
    std::string m_loginToken;
    int m_tagRoomType = 0;
};
