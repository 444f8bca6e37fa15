// Remote files as records. Start with host.h.
#pragma once

#include "fileref/copy.h"
#include "fileref/directory.h"
#include "fileref/failure.h"
#include "fileref/file.h"
#include "fileref/file_status.h"
#include "fileref/host.h"
#include "fileref/printable.h"
#include "fileref/target.h"
#include "fileref/version.h"
