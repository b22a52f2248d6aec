#include "collector/output/Outputs.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace collector {
namespace {

std::string Dropped(std::int64_t count) {
    return std::to_string(count) + " findings were dropped: they were not read in time";
}

}  // namespace

void Outputs::Add(const Make& make, int descriptor, std::string name, std::size_t mostBytes) {
    Entry entry;
    entry.name = std::move(name);
    entry.text = std::make_unique<std::ostringstream>();
    entry.output = make(*entry.text);
    entry.writer = std::make_unique<Writer>(descriptor, mostBytes);
    m_outputs.push_back(std::move(entry));
}

bool Outputs::AnyLeft() {
    DropFailed();
    return !m_outputs.empty();
}

void Outputs::DropFailed() {
    const auto failed = [this](const Entry& entry) {
        const int error = entry.writer->Error();
        if (error == 0) return false;
        m_complain("cannot write to " + entry.name + ": " + std::generic_category().message(error));
        return m_failed = true;
    };
    m_outputs.erase(std::remove_if(m_outputs.begin(), m_outputs.end(), failed), m_outputs.end());
}

void Outputs::ForEach(std::int64_t wallMs, const Action& action) {
    for (Entry& entry : m_outputs)
        Say(entry, wallMs, action);
    DropFailed();
}

// Once something was dropped, nothing goes out before there is room for more than a few lines.
void Outputs::Say(Entry& entry, std::int64_t wallMs, const Action& action) {
    if (entry.dropped > 0) {
        const auto tell = [&](Output& output) { output.Remark(wallMs, Dropped(entry.dropped)); };
        if (!entry.writer->IsRelieved() || !Write(entry, tell)) {
            ++entry.dropped;
            return;
        }
        entry.dropped = 0;
    }
    if (!Write(entry, action)) ++entry.dropped;
}

bool Outputs::Write(Entry& entry, const Action& action) {
    action(*entry.output);
    std::string text = entry.text->str();
    entry.text->str({});
    return entry.writer->Write(std::move(text));
}

void Outputs::Finish(Millis patience) {
    for (const Entry& entry : m_outputs) {
        const auto left = static_cast<std::int64_t>(entry.writer->Finish(patience));
        if (entry.writer->Error() == 0 && left + entry.dropped > 0)
            m_complain(entry.name + ": " + Dropped(left + entry.dropped));
    }
    DropFailed();
}

void Outputs::Show(const Received& received, const Message& message, const Outcome& outcome) {
    ForEach(received.wallMs, [&](Output& output) { output.Show(received, message, outcome); });
}

void Outputs::Show(std::int64_t wallMs, const Notice& notice) {
    ForEach(wallMs, [&](Output& output) { output.Show(wallMs, notice); });
}

void Outputs::Remark(std::int64_t wallMs, const std::string& text) {
    ForEach(wallMs, [&](Output& output) { output.Remark(wallMs, text); });
}

void Outputs::Summarise(std::int64_t wallMs, const Fleet& fleet) {
    ForEach(wallMs, [&](Output& output) { output.Summarise(wallMs, fleet); });
}

}  // namespace collector
