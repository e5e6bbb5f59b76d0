#pragma once
// The demonstration's part on location: a position from the location service (a simulated
// walk, or a GPS receiver through gpsd), and the weather stations nearest to it.

//! Prints the position and the local service's five stations nearest to it; false when no
//! position came or the stations could not be fetched.
bool demonstrateNearby(bool useGpsd);
