#pragma once
// The demonstration's OAuth 2.0 part: signing in to the local weather service, the stored
// credential, a protected call and signing out. True when every step did what it should.

bool demonstrateOAuth();
