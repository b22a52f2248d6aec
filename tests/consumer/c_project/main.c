#include <qolive_report.h>

int main(void) {
    static const char servers[] = "{\"gatewayDns\":{\"main\":[\"127.0.0.1:1\"],\"backup\":[]}}";
    qolive_heart_base_config base = {.size = sizeof base};
    int32_t mode = 0;
    if (qolive_version() != QOLIVE_REPORT_VERSION) return 1;
    if (qolive_centers_start(servers, sizeof servers - 1, &base) != QOLIVE_DONE) return 1;
    if (qolive_heartbeat_manager_start("{}", 2, &mode) != QOLIVE_DONE) return 1;
    qolive_heartbeat_manager_stop();
    return qolive_centers_stop() == QOLIVE_DONE ? 0 : 1;
}
