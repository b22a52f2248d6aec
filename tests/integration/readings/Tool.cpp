#include "integration/readings/Tool.h"

#include <stdio.h>

#include <cstdlib>
#include <memory>
#include <sstream>

namespace {

Words WordsOf(const std::string& line) {
    std::istringstream text(line);
    Words words;
    for (std::string word; text >> word;)
        words.push_back(word);
    return words;
}

}  // namespace

std::vector<Words> OutputOf(const std::string& commandLine) {
    const std::string command = "export LC_ALL=C HOME=/nonexistent; " + commandLine + " 2>/dev/null";
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::vector<Words> lines;
    char line[1024];
    while (pipe && fgets(line, sizeof line, pipe.get()))
        if (Words words = WordsOf(line); !words.empty()) lines.push_back(std::move(words));
    return lines;
}

bool Succeeds(const std::string& commandLine) {
    return std::system(("(" + commandLine + ") >/dev/null 2>&1").c_str()) == 0;
}
