#include "kernel/SinkCall.h"

void DeliverLine(const SinkCall& call, const char* line) {
    MakeSinkCall(call, line);
}
