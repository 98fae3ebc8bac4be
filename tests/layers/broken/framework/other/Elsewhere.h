#include "framework/core/Upward.h"
