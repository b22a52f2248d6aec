#include <benchmark/benchmark.h>
#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "integration/support/Broker.h"
#include "integration/support/Recorder.h"
#include "platform/MsgCenter.h"
#include "support/Eventually.h"

// The message center beside a bare libmosquitto publish loop: the same broker, payload, QoS and properties,
// and the same client that receives.

namespace {

constexpr int kBatch = 4000;
const std::string kHead = R"({"event":1,"mid":"1234567890123456789","type":1})";

std::string Body(const benchmark::State& state) {
    return std::string(static_cast<std::size_t>(state.range(0)), 'x');
}

support::Broker& Broker() {
    static auto* const started = new support::Broker;
    return *started;
}

struct FreeClient {
    void operator()(mosquitto* client) const {
        mosquitto_disconnect(client);
        mosquitto_loop_stop(client, false);
        mosquitto_destroy(client);
    }
};
using Client = std::unique_ptr<mosquitto, FreeClient>;

Client ConnectedClient(const char* id, void* user) {
    Client client(mosquitto_new(id, true, user));
    mosquitto_int_option(client.get(), MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(client.get(), MOSQ_OPT_TCP_NODELAY, 1);
    return client;
}

void Run(const Client& client) {
    mosquitto_connect(client.get(), "127.0.0.1", Broker().port(), 60);
    mosquitto_loop_start(client.get());
}

/// Counts what arrives on every up topic.
class Receiver {
public:
    Receiver() : m_client(ConnectedClient("receiver", this)) {
        mosquitto_connect_callback_set(m_client.get(), [](mosquitto* client, void*, int) {
            mosquitto_subscribe(client, nullptr, "qolive/+/+/up/5", 0);
        });
        mosquitto_subscribe_callback_set(m_client.get(), [](mosquitto*, void* user, int, int, const int*) {
            static_cast<Receiver*>(user)->add(&Receiver::m_subscribed);
        });
        mosquitto_message_callback_set(m_client.get(), [](mosquitto*, void* user, const mosquitto_message*) {
            static_cast<Receiver*>(user)->add(&Receiver::m_received);
        });
        Run(m_client);
        waitFor(&Receiver::m_subscribed, 1);
    }

    void waitForMore(int count) { waitFor(&Receiver::m_received, m_expected += count); }

private:
    void add(int Receiver::*count) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (++(this->*count) >= m_wanted) m_changed.notify_one();
    }

    void waitFor(int Receiver::*count, int wanted) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_wanted = wanted;
        m_changed.wait(lock, [&] { return this->*count >= wanted; });
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_subscribed = 0;
    int m_received = 0;
    int m_expected = 0;
    int m_wanted = 0;
    Client m_client;
};

/// Sends through the message center.
class CenterSender {
public:
    CenterSender() {
        QoPlayer::MsgCenterConfig config;
        config.addrs = new QoPlayer::MsgCenterAddr[1];
        config.addrCount = 1;
        config.addrs[0].ip = "127.0.0.1";
        config.addrs[0].port = Broker().port();
        m_sender = m_center.createSender(5, support::Recorder::callback, &m_recorder);
        m_center.start(config);
        m_recorder.waitConnected();
    }

    void send(const std::string& text) {
        const auto* const data = reinterpret_cast<const std::uint8_t*>(text.data());
        const auto* const head = reinterpret_cast<const std::uint8_t*>(kHead.data());
        while (!m_sender->send(data, text.size(), head, static_cast<int>(kHead.size())))
            std::this_thread::yield();
    }

private:
    support::Recorder m_recorder;
    QoPlayer::MsgCenter m_center;
    QoPlayer::MsgSender* m_sender = nullptr;
};

/// Publishes with libmosquitto and nothing else.
class BareSender {
public:
    BareSender() : m_client(ConnectedClient("bare", this)) {
        mosquitto_property_add_string(&m_properties, MQTT_PROP_CONTENT_TYPE, "application/json");
        mosquitto_property_add_string(&m_properties, MQTT_PROP_RESPONSE_TOPIC,
                                      "qolive/bare-001/00000000/down/5");
        mosquitto_property_add_string_pair(&m_properties, MQTT_PROP_USER_PROPERTY, "head", kHead.c_str());
        mosquitto_connect_callback_set(m_client.get(), [](mosquitto*, void* user, int) {
            static_cast<BareSender*>(user)->m_connected = true;
        });
        Run(m_client);
        support::Eventually([this] { return m_connected.load(); });
    }
    ~BareSender() { mosquitto_property_free_all(&m_properties); }

    void send(const std::string& text) {
        mosquitto_publish_v5(m_client.get(), nullptr, "qolive/bare-001/00000000/up/5",
                             static_cast<int>(text.size()), text.data(), 1, false, m_properties);
    }

private:
    mosquitto_property* m_properties = nullptr;
    std::atomic<bool> m_connected{false};
    Client m_client;
};

/// From the first message sent to the last received.
template <class Sender>
void Throughput(benchmark::State& state) {
    Receiver receiver;
    Sender sender;
    const std::string text = Body(state);
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i)
            sender.send(text);
        receiver.waitForMore(kBatch);
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

double MicrosecondsAt(const std::vector<double>& sorted, double part) {
    return sorted[static_cast<std::size_t>(part * static_cast<double>(sorted.size() - 1))];
}

/// From one message sent to its receipt by another client, with nothing else under way.
template <class Sender>
void Latency(benchmark::State& state) {
    Receiver receiver;
    Sender sender;
    const std::string text = Body(state);
    std::vector<double> microseconds;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        sender.send(text);
        receiver.waitForMore(1);
        microseconds.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(microseconds.begin(), microseconds.end());
    state.counters["median_us"] = MicrosecondsAt(microseconds, 0.5);
    state.counters["p99_us"] = MicrosecondsAt(microseconds, 0.99);
}

BENCHMARK_TEMPLATE(Throughput, BareSender)->Arg(300)->Arg(2000)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(Throughput, CenterSender)
    ->Arg(300)
    ->Arg(2000)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(Latency, BareSender)
    ->Arg(300)
    ->Iterations(5000)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(Latency, CenterSender)
    ->Arg(300)
    ->Iterations(5000)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    mosquitto_lib_init();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
