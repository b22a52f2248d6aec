// libmosquitto 2.0.11 unlocks one of its mutexes once too often when a server ends the connection with a
// DISCONNECT packet. A client object of ours is used by one thread alone, which makes that harmless.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();

extern "C" const char* __tsan_default_suppressions() {
    return "mutex:libmosquitto.so\n";
}
