#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/FuzzTarget.h"

// Runs a fuzz target over its corpus and over changes of it that are the same in every run: what a compiler
// without a fuzzer can do.

namespace {

constexpr int kChangesPerSeed = 300;

class Random {
public:
    std::size_t below(std::size_t bound) {
        m_state ^= m_state << 13U;
        m_state ^= m_state >> 7U;
        m_state ^= m_state << 17U;
        return static_cast<std::size_t>(m_state) % bound;
    }

private:
    std::uint64_t m_state = 88172645463325252U;
};

std::vector<std::string> ReadCorpus(const char* folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    std::vector<std::string> texts;
    for (const auto& file : files) {
        std::ifstream in(file, std::ios::binary);
        texts.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    return texts;
}

std::string Changed(std::string text, const std::string& other, Random& random) {
    const std::size_t at = random.below(text.size() + 1);
    switch (random.below(5)) {
        case 0:
            return text.substr(0, at);
        case 1:
            return text.insert(at, 1, static_cast<char>(random.below(256)));
        case 2:
            return text.erase(at, 1);
        case 3:
            return text.insert(at, other);
        default:
            return text.substr(0, at) + other.substr(random.below(other.size() + 1));
    }
}

void Run(const std::string& text) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s CORPUS-FOLDER\n", argv[0]);
        return 2;
    }
    const std::vector<std::string> corpus = ReadCorpus(argv[1]);
    if (corpus.empty()) return 2;
    Random random;
    for (const std::string& seed : corpus) {
        Run(seed);
        std::string text = seed;
        for (int i = 0; i < kChangesPerSeed; ++i) {
            text = Changed(i % 10 == 0 ? seed : text, corpus[random.below(corpus.size())], random);
            Run(text);
        }
    }
    return 0;
}
