#include "collector/Outputs.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace collector {

void Outputs::Add(std::unique_ptr<Output> output, std::ostream& stream, std::string name) {
    m_outputs.push_back({std::move(output), &stream, std::move(name)});
}

template <class Action>
void Outputs::ForEach(Action action) {
    const auto fails = [&](const Entry& entry) {
        errno = 0;
        action(*entry.output);
        entry.stream->flush();
        if (*entry.stream) return false;
        m_complaints << "qolive-collector: cannot write to " << entry.name;
        if (errno != 0) m_complaints << ": " << std::generic_category().message(errno);
        m_complaints << std::endl;
        return m_failed = true;
    };
    m_outputs.erase(std::remove_if(m_outputs.begin(), m_outputs.end(), fails), m_outputs.end());
}

void Outputs::Show(const Received& received, const Message& message, const Outcome& outcome) {
    ForEach([&](Output& output) { output.Show(received, message, outcome); });
}

void Outputs::Show(std::int64_t wallMs, const Notice& notice) {
    ForEach([&](Output& output) { output.Show(wallMs, notice); });
}

void Outputs::Remark(std::int64_t wallMs, const std::string& text) {
    ForEach([&](Output& output) { output.Remark(wallMs, text); });
}

void Outputs::Summarise(std::int64_t wallMs, const Fleet& fleet) {
    ForEach([&](Output& output) { output.Summarise(wallMs, fleet); });
}

}  // namespace collector
