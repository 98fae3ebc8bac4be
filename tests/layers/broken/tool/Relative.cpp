#include "Relative.h"
