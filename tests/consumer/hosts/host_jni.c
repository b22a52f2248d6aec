// The library for Host.java.

#include <jni.h>
#include <qolive_report.h>
#include <string.h>

static JavaVM* machine;
static jclass host;
static jmethodID takeLine;

// A thread of the library stays with the machine once it has come, as a daemon, which the machine's end does
// not await.
static void sink(void* user, int level, const char* line) {
    JNIEnv* environment = NULL;
    (void)user;
    (void)level;
    if ((*machine)->AttachCurrentThreadAsDaemon(machine, (void**)&environment, NULL) != JNI_OK) return;
    jstring text = (*environment)->NewStringUTF(environment, line);
    (*environment)->CallStaticVoidMethod(environment, host, takeLine, text);
    (*environment)->DeleteLocalRef(environment, text);
}

JNIEXPORT jboolean JNICALL Java_Host_start(JNIEnv* environment, jclass self, jstring servers) {
    qolive_heart_base_config base = {.size = sizeof base};
    int32_t mode = 0;
    (*environment)->GetJavaVM(environment, &machine);
    host = (*environment)->NewGlobalRef(environment, self);
    takeLine = (*environment)->GetStaticMethodID(environment, self, "takeLine", "(Ljava/lang/String;)V");
    const char* const text = (*environment)->GetStringUTFChars(environment, servers, NULL);
    const jboolean started = qolive_set_log_sink(sink, NULL) == QOLIVE_DONE &&
                             qolive_centers_start(text, strlen(text), &base) == QOLIVE_DONE &&
                             qolive_heartbeat_manager_start("{}", 2, &mode) == QOLIVE_DONE &&
                             qolive_streams_init() == QOLIVE_DONE;
    (*environment)->ReleaseStringUTFChars(environment, servers, text);
    qolive_streams_report_start("anchor", 6, QOLIVE_STREAM_SAMPLED);
    return started;
}

JNIEXPORT jboolean JNICALL Java_Host_isConnected(JNIEnv* environment, jclass self) {
    (void)environment;
    (void)self;
    return qolive_heartbeat_is_connecting() == 1 && qolive_streams_is_connected() == 1;
}

JNIEXPORT void JNICALL Java_Host_feed(JNIEnv* environment, jclass self, jint turn) {
    (void)environment;
    (void)self;
    qolive_streams_add_report_data("anchor", 6, QOLIVE_DATA_VIDEO_FRAMES_SENT, 1);
    qolive_streams_report_event_data("anchor", 6, QOLIVE_EVENT_STREAM_START, "{}", 2);
    qolive_heartbeat_update_live_status(turn % 2);
}

JNIEXPORT jboolean JNICALL Java_Host_stop(JNIEnv* environment, jclass self) {
    (void)environment;
    (void)self;
    qolive_streams_report_stop("anchor", 6);
    return qolive_heartbeat_manager_stop() == QOLIVE_DONE && qolive_centers_stop() == QOLIVE_DONE;
}
