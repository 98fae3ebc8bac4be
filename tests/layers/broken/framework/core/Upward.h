#include <framework/net/Sideways.h>
