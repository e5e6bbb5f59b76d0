#pragma once
// The demonstration's first part: typed objects from the local weather service through a
// client class and its endpoints. True when every step did what it should.

bool demonstrateMainJob();
