#include "common/Program.h"

#include "common/Printable.h"

namespace apps {
namespace {

constexpr int kMisuse = 2;
constexpr std::size_t kMostShownBytes = 1000;

int Tell(const char* program, const std::exception& error, int status) {
    std::cerr << program << ": " << Printable(error.what(), kMostShownBytes) << "\n";
    return status;
}

}  // namespace

int Guarded(const char* program, const std::function<int()>& work) {
    try {
        return work();
    } catch (const UsageError& error) {
        return Tell(program, error, kMisuse);
    } catch (const std::exception& error) {
        return Tell(program, error, EXIT_FAILURE);
    }
}

}  // namespace apps
