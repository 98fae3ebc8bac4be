#include "framework/config/Config.h"
