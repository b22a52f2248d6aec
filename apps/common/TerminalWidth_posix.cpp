#include <sys/ioctl.h>
#include <unistd.h>

#include "common/TextWidth.h"

namespace apps {

std::size_t TerminalWidth() {
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

}  // namespace apps
