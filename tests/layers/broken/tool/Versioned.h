#include "framework/core/Version.h"
