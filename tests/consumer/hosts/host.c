// host PORT ENDING [LIBRARY]: a host of the C interface, in the language that C and C++ share. ENDING is
// "stop", or "return" to leave everything running. With LOAD_AT_RUN_TIME the library is not linked but loaded
// from LIBRARY.

#include <qolive_report.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#ifdef LOAD_AT_RUN_TIME
#include <dlfcn.h>
static void* library;
#define CALL(name) ((__typeof__(&qolive_##name))dlsym(library, "qolive_" #name))
#else
#define CALL(name) qolive_##name
#endif

static volatile int lines = 0;

static void countLine(void* user, int level, const char* line) {
    (void)user;
    if (level >= 0 && line) lines = 1;
}

static void pauseMs(int ms) {
    struct timespec duration = {0, ms * 1000000L};
    nanosleep(&duration, NULL);
}

static int start(const char* port) {
    char servers[256];
    qolive_heart_base_config base;
    int32_t mode = 0;
    memset(&base, 0, sizeof base);
    base.size = sizeof base;
    snprintf(servers, sizeof servers, "{\"gatewayDns\":{\"main\":[\"127.0.0.1:%s\"],\"backup\":[\"127.0.0.1:%s\"]}}", port,
             port);
    return CALL(set_log_sink)(countLine, NULL) == QOLIVE_DONE &&
           CALL(centers_start)(servers, strlen(servers), &base) == QOLIVE_DONE &&
           CALL(heartbeat_manager_start)("{}", 2, &mode) == QOLIVE_DONE && CALL(streams_init)() == QOLIVE_DONE;
}

static int isConnected(void) {
    return CALL(heartbeat_is_connecting)() == 1 && CALL(streams_is_connected)() == 1;
}

static void feed(void) {
    CALL(streams_report_start)("anchor", 6, QOLIVE_STREAM_SAMPLED);
    for (int i = 0; i < 40; ++i) {
        CALL(streams_add_report_data)("anchor", 6, QOLIVE_DATA_VIDEO_FRAMES_SENT, 1);
        CALL(streams_report_event_data)("anchor", 6, QOLIVE_EVENT_STREAM_START, "{}", 2);
        CALL(heartbeat_update_live_status)(i % 2);
        pauseMs(20);
    }
}

// A C++ host has its runtime's exceptions in use.
static int runtimeWorks(void) {
#ifdef __cplusplus
    try {
        throw 1;
    } catch (int) {
        return 1;
    }
#endif
    return 1;
}

int main(int argc, char** argv) {
    if (argc < 3 || !runtimeWorks()) return 1;
#ifdef LOAD_AT_RUN_TIME
    library = dlopen(argv[3], RTLD_NOW | RTLD_LOCAL);
    if (!library) return 5;
#endif
    if (!start(argv[1])) return 2;
    for (int waited = 0; !isConnected(); ++waited) {
        if (waited > 4000) return 3;
        pauseMs(5);
    }
    feed();
    if (!lines) return 4;
    puts("ending");
    fflush(stdout);
    if (strcmp(argv[2], "return") == 0) return 0;
    CALL(streams_report_stop)("anchor", 6);
    if (CALL(heartbeat_manager_stop)() != QOLIVE_DONE) return 6;
    return CALL(centers_stop)() == QOLIVE_DONE ? 0 : 7;
}
