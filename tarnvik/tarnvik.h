// Umbrella header: includes every public header of the library.
#pragma once

#include "tarnvik/foundation/ByteArray.h"
#include "tarnvik/foundation/CGlobal.h"
#include "tarnvik/foundation/Event.h"
#include "tarnvik/foundation/KeyedCollection.h"
#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/Variant.h"
#include "tarnvik/foundation/modByteArrays.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modFileUtil.h"
#include "tarnvik/foundation/modMain.h"
