#pragma once
// The demonstration's caching part: fetched objects kept in a disk cache and read back from
// its files once the memory layer is emptied. True when every step did what it should.

bool demonstrateCache();
