// host PORT ENDING: a host in Rust. ENDING is "stop", or "return" to leave everything running.

use std::ffi::CStr;
use std::os::raw::{c_char, c_int, c_void};
use std::sync::Mutex;
use std::time::Duration;

#[repr(C)]
struct Text {
    data: *const c_char,
    length: usize,
}

#[repr(C)]
struct Base {
    size: usize,
    int_values: [i32; 2],
    int64_values: [i64; 2],
    text_values: [Text; 2],
}

type Sink = extern "C" fn(*mut c_void, c_int, *const c_char);

#[link(name = "QoLiveReport")]
extern "C" {
    fn qolive_set_log_sink(sink: Option<Sink>, user: *mut c_void) -> i32;
    fn qolive_centers_start(config: *const u8, length: usize, base: *const Base) -> i32;
    fn qolive_centers_stop() -> i32;
    fn qolive_heartbeat_manager_start(config: *const u8, length: usize, mode: *mut i32) -> i32;
    fn qolive_heartbeat_manager_stop() -> i32;
    fn qolive_heartbeat_is_connecting() -> i32;
    fn qolive_heartbeat_update_live_status(live: i32) -> i32;
    fn qolive_streams_init() -> i32;
    fn qolive_streams_is_connected() -> i32;
    fn qolive_streams_report_start(id: *const u8, length: usize, kind: i32) -> i32;
    fn qolive_streams_report_stop(id: *const u8, length: usize) -> i32;
    fn qolive_streams_add_report_data(id: *const u8, length: usize, kind: i32, value: i64) -> i32;
    fn qolive_streams_report_event_data(
        id: *const u8, length: usize, kind: i32, event: *const u8, event_length: usize,
    ) -> i32;
}

static LINES: Mutex<Vec<String>> = Mutex::new(Vec::new());
const ID: &str = "anchor";

extern "C" fn take_line(_user: *mut c_void, _level: c_int, line: *const c_char) {
    let text = unsafe { CStr::from_ptr(line) }.to_string_lossy().into_owned();
    LINES.lock().unwrap().push(text);
}

fn empty() -> Text {
    Text { data: std::ptr::null(), length: 0 }
}

unsafe fn start(port: &str) {
    let address = format!("[\"127.0.0.1:{port}\"]");
    let servers = format!("{{\"gatewayDns\":{{\"main\":{address},\"backup\":{address}}}}}");
    let base = Base {
        size: std::mem::size_of::<Base>(),
        int_values: [0, 0],
        int64_values: [0, 0],
        text_values: [empty(), empty()],
    };
    let mut mode = 0;
    qolive_set_log_sink(Some(take_line), std::ptr::null_mut());
    assert_eq!(qolive_centers_start(servers.as_ptr(), servers.len(), &base), 1);
    assert_eq!(qolive_heartbeat_manager_start("{}".as_ptr(), 2, &mut mode), 1);
    assert_eq!(qolive_streams_init(), 1);
}

unsafe fn feed() {
    qolive_streams_report_start(ID.as_ptr(), ID.len(), 0);
    for turn in 0..20 {
        qolive_streams_add_report_data(ID.as_ptr(), ID.len(), 2, 1);
        qolive_streams_report_event_data(ID.as_ptr(), ID.len(), 1, "{}".as_ptr(), 2);
        qolive_heartbeat_update_live_status(turn % 2);
        std::thread::sleep(Duration::from_millis(40));
    }
}

fn main() {
    let arguments: Vec<String> = std::env::args().collect();
    unsafe {
        start(&arguments[1]);
        let mut waited = 0;
        while qolive_heartbeat_is_connecting() != 1 || qolive_streams_is_connected() != 1 {
            waited += 1;
            assert!(waited < 4000);
            std::thread::sleep(Duration::from_millis(5));
        }
        feed();
        assert!(!LINES.lock().unwrap().is_empty());
        println!("ending");
        if arguments[2] == "stop" {
            qolive_streams_report_stop(ID.as_ptr(), ID.len());
            assert_eq!(qolive_heartbeat_manager_stop(), 1);
            assert_eq!(qolive_centers_stop(), 1);
        }
    }
}
