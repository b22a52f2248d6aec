#pragma once

// A header of the host's, whose path is that of one of the library's.
struct OwnPlatformExport {
    int value = 1;
};
