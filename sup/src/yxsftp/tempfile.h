// The temporary file that holds the local copy of the remote data.
#pragma once

#include "sup/src/yxsftp/ffcb.h"

// Settles what the temporary file will be opened with, assigns a temporary fileref of the host's
// choosing, and learns the path of its file. What a failure leaves is released with the file.
rctype create_tempfile(FFCB* ffcb);

// Opens the temporary file with the file's own open parameters.
rctype open_tempfile(FFCB* ffcb);

// Closes the temporary file if it is open. After a failure it still is.
rctype close_tempfile(FFCB* ffcb);
