// What the import-format writer does once in a process: its tags of pwr::executeOnce.
#pragma once

enum VyrtaOnceTag : int {
    ONCE_ATTRIBUTE_COUNT_NOTE = 2000,
    ONCE_SAMPLE_WRITTEN = 2001,
    ONCE_WAKELOCK_WRITTEN = 2002,
    ONCE_REAL_NOTE = 2003,
    ONCE_REAL_RANGE_NOTE = 2004,
    ONCE_OPEN_RESULT = 2005,
};
