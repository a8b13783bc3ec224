// The host interface as the plug-in sees it: every wrapper class it uses.
#ifndef ZERB_FMX_FMX_H
#define ZERB_FMX_FMX_H

#include "FMWrapper/FMXExtern.h"
#include "FMWrapper/FMXBinaryData.h"
#include "FMWrapper/FMXTypes.h"  // QuadChar, which FMXCalcEngine.h uses without declaring it
#include "FMWrapper/FMXCalcEngine.h"
#include "FMWrapper/FMXData.h"
#include "FMWrapper/FMXDateTime.h"
#include "FMWrapper/FMXFixPt.h"
#include "FMWrapper/FMXText.h"
#include "FMWrapper/FMXTextStyle.h"

#endif
