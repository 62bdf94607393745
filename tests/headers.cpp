// Here for its precompiled headers alone.
