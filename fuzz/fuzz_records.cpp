// The records of tokens (paths, attributes, access rules, entries of all directories, objects) and of keys.
#include "codec.h"

const fuzz::Target fuzz::target = {"Path", "Opaque", {}};
