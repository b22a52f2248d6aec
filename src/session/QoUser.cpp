#include "session/QoUser.h"

QoUser::QoUser() = default;
QoUser::QoUser(const QoUser&) = default;
QoUser& QoUser::operator=(const QoUser&) = default;
QoUser::~QoUser() = default;

QoUser* QoUser::GetInstance() {
    static QoUser instance;
    return &instance;
}

void QoUser::SetLoginToken(const std::string& token) {
    m_loginToken = token;
}

std::string QoUser::GetLoginToken() {
    return m_loginToken;
}

void QoUser::SetBreloId(const std::string& id) {
    m_breloId = id;
}

std::string QoUser::GetBreloId() {
    return m_breloId;
}

void QoUser::SetTagRoomType(int type) {
    m_tagRoomType = type;
}

int QoUser::GetTagRoomType() {
    return m_tagRoomType;
}
