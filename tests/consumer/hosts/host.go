// host PORT ENDING: a host in Go. ENDING is "stop", or "return" to leave everything running.
package main

// #cgo pkg-config: QoLiveReport
// #include <qolive_report.h>
// #include <string.h>
// void takeLine(void* user, int level, char* line);
// static int32_t setSink(void) { return qolive_set_log_sink((qolive_log_sink)takeLine, NULL); }
import "C"

import (
	"fmt"
	"os"
	"runtime"
	"sync"
	"time"
	"unsafe"
)

var (
	mutex sync.Mutex
	lines []string
)

//export takeLine
func takeLine(user unsafe.Pointer, level C.int, line *C.char) {
	mutex.Lock()
	defer mutex.Unlock()
	lines = append(lines, C.GoString(line))
}

func check(good bool, what string) {
	if !good {
		fmt.Fprintln(os.Stderr, "failed:", what)
		os.Exit(1)
	}
}

func start(port string) {
	address := "[\"127.0.0.1:" + port + "\"]"
	servers := C.CString("{\"gatewayDns\":{\"main\":" + address + ",\"backup\":" + address + "}}")
	var base C.qolive_heart_base_config
	base.size = C.size_t(unsafe.Sizeof(base))
	var mode C.int32_t
	check(C.setSink() == 1, "sink")
	check(C.qolive_centers_start(servers, C.strlen(servers), &base) == 1, "centers start")
	check(C.qolive_heartbeat_manager_start(C.CString("{}"), 2, &mode) == 1, "heartbeat starts")
	check(C.qolive_streams_init() == 1, "streams start")
}

func feed() {
	id, event := C.CString("anchor"), C.CString("{}")
	C.qolive_streams_report_start(id, 6, C.QOLIVE_STREAM_SAMPLED)
	for turn := 0; turn < 20; turn++ {
		C.qolive_streams_add_report_data(id, 6, C.QOLIVE_DATA_VIDEO_FRAMES_SENT, 1)
		C.qolive_streams_report_event_data(id, 6, C.QOLIVE_EVENT_STREAM_START, event, 2)
		C.qolive_heartbeat_update_live_status(C.int32_t(turn % 2))
		runtime.GC()
		time.Sleep(40 * time.Millisecond)
	}
}

func main() {
	start(os.Args[1])
	for waited := 0; C.qolive_heartbeat_is_connecting() != 1 || C.qolive_streams_is_connected() != 1; waited++ {
		check(waited < 4000, "connects")
		time.Sleep(5 * time.Millisecond)
	}
	feed()
	mutex.Lock()
	check(len(lines) > 0, "lines")
	mutex.Unlock()
	fmt.Println("ending")
	if os.Args[2] == "return" {
		return
	}
	C.qolive_streams_report_stop(C.CString("anchor"), 6)
	check(C.qolive_heartbeat_manager_stop() == 1, "heartbeat stops")
	check(C.qolive_centers_stop() == 1, "centers stop")
}
