#include "fakes/FailingJson.h"

#include <json/json.h>

#include <atomic>

// The linker sends the library's calls of Json::FastWriter::write here (--wrap), and gives the real one
// another name.

namespace {
std::atomic<int> failuresLeft{0};
}

void fakes::FailJsonWriting(int count) {
    failuresLeft = count;
}

/// Stands in for the writer: its `this` is the writer that was called.
class WrappedWriter {
public:
    Json::String write(const Json::Value& value) __asm__(
        "__wrap__ZN4Json10FastWriter5writeB5cxx11ERKNS_5ValueE");

private:
    Json::String realWrite(const Json::Value& value) __asm__(
        "__real__ZN4Json10FastWriter5writeB5cxx11ERKNS_5ValueE");
};

Json::String WrappedWriter::write(const Json::Value& value) {
    if (failuresLeft > 0 && failuresLeft-- > 0) Json::throwRuntimeError("scripted failure");
    return realWrite(value);
}
