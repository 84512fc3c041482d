// Built without D-Bus: the television is always embedded.
#include "other_television.h"

simulated::OtherTelevision* simulated::otherTelevision() { return nullptr; }
