#pragma once

// The whole public interface of the library.

#include <tvkcore/asn/tvkasnobject.h>
#include <tvkcore/asn/tvkasnprimitive.h>
#include <tvkcore/asn/tvkasntime.h>
#include <tvkcore/asn/tvkasnutility.h>
#include <tvkcore/asn/tvkasnx500name.h>
#include <tvkcore/asn/tvkasnx509certificate.h>
#include <tvkcore/asn/tvkcapiasnkeyrecord.h>
#include <tvkcore/asn/tvkdbutility.h>
#include <tvkcore/base/tvkbuffer.h>
#include <tvkcore/base/tvkexception.h>
#include <tvkcore/base/tvkexport.h>
#include <tvkcore/base/tvkglobal.h>
#include <tvkcore/base/tvklibrarymanager.h>
#include <tvkcore/base/tvkstring.h>
#include <tvkcore/base/tvktrace.h>
#include <tvkcore/base/tvkwideinterntable.h>
#include <tvkcore/item/tvkitemcontainer.h>
#include <tvkcore/item/tvkstoreitem.h>
#include <tvkcore/kry/tvkkryalgorithm.h>
#include <tvkcore/kry/tvkkryalgorithmfactory.h>
#include <tvkcore/kry/tvkkrykey.h>
#include <tvkcore/kry/tvkkryutility.h>
#include <tvkcore/store/tvkcapimanager.h>
#include <tvkcore/store/tvkcspmanager.h>
#include <tvkcore/store/tvkprioritycontainer.h>
