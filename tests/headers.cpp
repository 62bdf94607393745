// Here for its precompiled header alone.
