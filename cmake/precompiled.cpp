// Nothing of its own: the target that this belongs to carries the precompiled headers.
