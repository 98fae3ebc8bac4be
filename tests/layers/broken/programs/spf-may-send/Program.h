#include "tool/Upward.h"
