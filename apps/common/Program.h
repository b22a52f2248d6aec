#pragma once

#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "common/CommandLine.h"
#include "common/StopSignal.h"

namespace apps {

/// What a program is made of. `Options` has the two flags of UsualOptions, `help` and `version`.
template <class Options>
struct Program {
    const char* name;
    Options (*parse)(const std::vector<std::string>& arguments);
    std::string (*help)();
    int (*run)(const Options& options);  ///< its result is the exit status
};

/// The result of `work`. What it throws is told in one line on standard error instead, and the result is 2
/// for a UsageError and 1 for anything else.
int Guarded(const char* program, const std::function<int()>& work);

/// The whole main function of `program`: answers --help and --version, and otherwise lets it run with SIGINT
/// and SIGTERM caught.
template <class Options>
int Main(const Program<Options>& program, int argc, char** argv) {
    return Guarded(program.name, [&] {
        const Options options = program.parse({argv + 1, argv + argc});
        if (options.help || options.version) {
            std::cout << (options.help ? program.help() : VersionText(program.name));
            return EXIT_SUCCESS;
        }
        CatchStopSignals();
        return program.run(options);
    });
}

}  // namespace apps
