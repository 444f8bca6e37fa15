// Standard input, output and error.
#pragma once

namespace cli {

// To be called before any file is opened. A standard descriptor that is closed is taken up, so that
// nothing else gets its number, in the direction in which its use fails (EBADF). Throws
// std::system_error.
void hold_standard_streams();

}  // namespace cli
