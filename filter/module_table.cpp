// The module's one creatable class and the records that registration writes.
#include <dshow.h>
#include <uuids.h>

#include "filter/media_subtypes.h"
#include "filter/vcam.h"
#include "media/class_factory.h"

namespace {

const AMOVIESETUP_MEDIATYPE kPinTypes[] = {
    {&MEDIATYPE_Video, &MEDIASUBTYPE_RGB24},
    {&MEDIATYPE_Video, &MEDIASUBTYPE_RGB32},
    {&MEDIATYPE_Video, &MEDIASUBTYPE_I420},
};

const AMOVIESETUP_PIN kPin = {const_cast<LPWSTR>(L"Output"), FALSE, TRUE, FALSE, FALSE,
                              &CLSID_NULL, nullptr, 3, kPinTypes};

const AMOVIESETUP_FILTER kFilter = {&CLSID_ZarnVirtualCam, L"ZarnCam Pro", 0x600000, 1, &kPin};

}  // namespace

CFactoryTemplate g_Templates[] = {
    {L"ZarnCam Pro", &CLSID_ZarnVirtualCam, CVCam::CreateInstance, nullptr, &kFilter},
};
int g_cTemplates = 1;
