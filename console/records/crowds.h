// Where a file itself gives cause for doubt.
#pragma once

#include <vector>

#include "records/held.h"

/// Time stamps, from and up to but not with a number, that are closer together than usual, or have
/// several records where others have one. It looks so where a record was taken twice or a time
/// stamp was changed; and where the clock was set back, too.
struct Crowd {
  long begin;
  long end;
};

/// Those between these numbers; of many, some from all over.
std::vector<Crowd> Crowds(const Held& held, long begin, long end);
