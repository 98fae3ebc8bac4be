#include "framework/core/CacheMap.h"

template class CacheMap<std::string>;
