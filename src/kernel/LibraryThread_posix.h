#pragma once

/// Whether the calling thread was started by the library.
bool IsLibraryThread();
