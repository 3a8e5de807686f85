// Platform contract: all of it, for those who implement a platform.
#pragma once

#include "platform/Export.h"
#include "platform/OS.h"
#include "platform/iAtomicServices.h"
#include "platform/iCriticalSection.h"
#include "platform/iFile.h"
#include "platform/iFileServices.h"
#include "platform/iMemoryServices.h"
#include "platform/iPathServices.h"
#include "platform/iReclaimable.h"
#include "platform/iSystemInfo.h"
#include "platform/iTextServices.h"
#include "platform/iThreadServices.h"
