// Visibility of the host's declarations.
//
// Everything below pwr/ is implemented by the process that loads the plug-in library (the host).
// The library is compiled with hidden visibility, so what it imports by name must be marked here.
#pragma once

#define PWR_HOST_API __attribute__((visibility("default")))
