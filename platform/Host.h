// Facts about the machine, the program and its user. A text is "" where the host does not tell.
#pragma once

#include <string>

#include "core/base/KyTypes.h"

namespace ky::platform {

/// Text that tells this machine from others and stays the same from start to start: its machine identifier, or its name
/// on the network where it has none. Never empty.
KY_API std::string hostIdentifier();

KY_API std::string userName();
KY_API std::string hostName();

/// The full path of the running program's file.
KY_API std::string programPath();

/// Where this user's settings belong, without a separator at its end; made if it is not there.
KY_API std::string userSettingsFolder();

/// Whether somebody reads the standard output as it comes.
KY_API bool isOutputTerminal();

/// How wide the terminal is that the standard error output goes to, in characters; 0 if it goes elsewhere.
KY_API int errorTerminalWidth();

KY_API int processorCount();

/// Tells this process from the others that run on this machine.
KY_API long processNumber();

/// The address of a host of that name as numbers and full stops.
KY_API std::string addressOf(const char* host);

}  // namespace ky::platform
