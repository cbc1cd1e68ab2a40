#pragma once
// The camera's one output pin: the holder of the format state, the private interfaces,
// and every link to the mixer. Frame delivery runs on its worker thread.
#include <windows.h>
#include <dshow.h>

#include <cstdint>
#include <memory>

#include "delivery/frame_buffer.h"
#include "delivery/format_tags.h"
#include "delivery/layout_switch_guard.h"
#include "delivery/sws_converter.h"
#include "filter/zarn_interfaces.h"
#include "link/device_occupancy.h"
#include "media/lock.h"
#include "media/media_type.h"
#include "media/source.h"

class CVCam;
class VCamParamChannel;
class CaptureShareMemoryMgr;
class SharedTexHelper;
class SpecialRGBAToTex;
struct CaptureFrameRecord;

class CVCamStream : public CSourceStream,
                    public IAMStreamConfig,
                    public IKsPropertySet,
                    public IShareSampleInterface,
                    public ICheckZarnCam,
                    public ICheckZarnCamUsingVideoEnhancements,
                    public IZarnCamFrameRateControler,
                    public ISetOutputWidthHeight,
                    public IZarnVCameraEx {
 public:
  CVCamStream(HRESULT* result, CVCam* parent, const wchar_t* pinName);
  ~CVCamStream() override;

  // Serves the pin and every interface part; references go to the filter.
  STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  STDMETHODIMP Notify(IBaseFilter* sender, Quality quality) override;

  HRESULT FillBuffer(IMediaSample* sample) override;
  HRESULT OnThreadCreate() override;
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) override;
  // Accepts the current type and nothing else: hosts change the format through SetFormat.
  HRESULT CheckMediaType(const CMediaType* type) override;
  // Position 0 is the current type; the others are catalogue rows.
  HRESULT GetMediaType(int position, CMediaType* type) override;
  // Takes the connection's type, past the occupancy gate, and publishes it to the mixer.
  HRESULT SetMediaType(const CMediaType* type) override;
  // A connection that ends or never came about gives this filter's claim back.
  HRESULT BreakConnect() override;

  // Replaces the current type; a connected pin is reconnected and publishes the new request.
  STDMETHODIMP SetFormat(AM_MEDIA_TYPE* type) override;
  STDMETHODIMP GetFormat(AM_MEDIA_TYPE** type) override;
  STDMETHODIMP GetNumberOfCapabilities(int* count, int* size) override;
  // Catalogue row `index` exactly, as a type and one fixed-size capability record.
  STDMETHODIMP GetStreamCaps(int index, AM_MEDIA_TYPE** type, BYTE* caps) override;

  // Only the pin category is known, and only for reading.
  STDMETHODIMP Set(REFGUID set, DWORD id, void* instance, DWORD instanceSize, void* data,
                   DWORD dataSize) override;
  STDMETHODIMP Get(REFGUID set, DWORD id, void* instance, DWORD instanceSize, void* data,
                   DWORD dataSize, DWORD* returned) override;
  STDMETHODIMP QuerySupported(REFGUID set, DWORD id, DWORD* support) override;

  STDMETHODIMP ShareSample() override;
  STDMETHODIMP CheckZarnCam(unsigned char* answer) override;
  STDMETHODIMP CheckZarnCamUsingVideoEnhancements(unsigned char* answer) override;
  STDMETHODIMP SetFrameRate(uint32_t mode) override;
  STDMETHODIMP SetOutputWidthHeight(const OutputSizeList* sizes) override;
  STDMETHODIMP GetOutputWidthHeight(int* width, int* height) override;
  STDMETHODIMP SetZarnCameraOutput(IZarnCameraOutput* output) override;

  // Publishes the requested format into the parameter record and takes the camera.
  bool UpdateVideoOutParamIntoSharedMemory();
  void setDeviceOpeningProcessId(uint32_t pid);
  // This filter's share in the process's claim on the camera.
  void takeClaim();
  void giveBackClaim();
  void HandleOpeningProcessTermination();
  // The holder in the parameter record; 0 without a channel.
  uint32_t deviceOpeningProcessId();
  // Has the application tell the user which process holds the camera.
  void ShowTipsForOpeningProcess();

  // The requested size is 4:3; it picks the placeholder picture.
  bool isResolusion_43();
  // Decodes the stored picture for the requested size into m_placeholderFrame, bottom row first
  // when `reverseRows`; true if it came from the module's resources.
  bool LoadBackground(bool reverseRows);
  // LoadBackground for a path that needs the picture now, unless the stream holds one already.
  void ensurePlaceholder(bool reverseRows);
  // Brings the placeholder to a sample buffer of the requested size and format.
  void copyPlaceholderToSample(BYTE* sampleData);

 protected:
  // The two ways a frame leaves the stream; exceptions from them are contained by FillBuffer.
  virtual void FillBufferVideoMemoryOutput(IMediaSample* sample);
  virtual void FillBufferVideoDirectOutput();
  // A frame in the mixer's shared texture, read on the GPU into the sample (or into a buffer that
  // is scaled into it). Called with the region's mutex held; returns with it released. False when
  // no frame was read: the sample is then no frame of the mixer's.
  bool deliverTextureFrame(const CaptureFrameRecord& record, BYTE* sampleData, int32_t targetWidth,
                           int32_t targetHeight);
  // Times of a delivered frame, from the mixer's time stamp; a stale one moves on by half a period.
  void stampSampleTimes(IMediaSample* sample, int64_t frameTimeMs);

  int32_t m_widthOut = 1280;
  int32_t m_heightOut = 720;
  int32_t m_widthOutReq = 1280;
  int32_t m_heightOutReq = 720;
  int32_t m_bitCount = 32;
  uint32_t m_fourcc = kTagRGBA;
  bool m_bFormatChanged = false;
  OutputSizeList m_outputSizes;
  int32_t m_avgTimePerFrameSample = 666666;
  int32_t m_timePerFrameSample = 66;
  std::unique_ptr<VCamParamChannel> m_pParamChannel;
  std::unique_ptr<CaptureShareMemoryMgr> m_pCaptureShareMemory;
  CVCam* m_pParent;
  int64_t m_lastSampleTime = 0;
  CCritSec m_streamLock;
  CMediaType m_defaultMediaType;
  FrameBuffer m_placeholderFrame;
  // Bottom row first, as LoadBackground was last asked for.
  bool m_placeholderRowsReversed = false;
  FrameBuffer m_placeholderFrameYuv;
  bool m_placeholderLoadTried = false;
  FrameBuffer m_textureFrame;
  FrameBuffer m_scaledFrame;
  FrameBuffer m_placeholderTextureFrame;
  SwsConverter m_scaler;
  bool m_bCheckedByClient = false;
  bool m_bUsingVideoEnhancements = false;
  bool m_bFirstAttachDone = false;
  bool m_bUpdateParam = false;
  IZarnCameraOutput* volatile m_pCameraOutput = nullptr;
  // Nothing assigns these two; they are closed wherever they could be open.
  HANDLE m_hSpare1 = nullptr;
  HANDLE m_hSpare2 = nullptr;
  HANDLE m_hSynFrameEvent = nullptr;
  int64_t m_lastSampleEnd = 0;
  bool m_bVideoOutParamIntoSharedMemorySucceed = false;
  bool m_isObsHost;
  bool m_isFlipHost;
  bool m_isLimitedRgbHost;
  std::unique_ptr<SharedTexHelper> m_pSharedTexHelper;
  std::unique_ptr<SpecialRGBAToTex> m_pSpecialRGBAToTex;
  FrameBuffer m_dumpFrame;
  uint32_t m_lastDumpTime = 0;
  bool m_bPlainRecords = false;
  LayoutSwitchGuard m_layoutGuard;
  ClaimShare m_claim;

 private:
  void closeSpareHandles();
  // The reader's output format for the connected type; 0 for one it can't write.
  uint32_t textureFrameTag() const;
  // The mixer's diagnostic picture of the texture frame just read, into the temporary folder.
  void dumpTextureFrame(const CaptureFrameRecord& record, const FrameBuffer& frame);
  // Makes the frame region's reader on first use and maps the region in the layout in force.
  bool attachFrameRegion();
  // The newest record and its pixels, with the region's mutex held when non-null. A sealed record
  // that can't be deciphered switches the stream to the plain layout and is read again.
  uint8_t* readFrameRecord(CaptureFrameRecord& record);
  // readFrameRecord for a frame that may go into a sample: one that may be of the layout before
  // the host's request is skipped for the next, until the frame wait's time is up (then null).
  uint8_t* readDeliverableFrame(CaptureFrameRecord& record);
  // With no mixer frame, the placeholder goes to the direct client as the filter's own texture.
  void sendPlaceholderTexture();
  // Refuses a format call while the mixer bars connections or another live process holds the
  // camera; the second case also tells the user. Each caller names itself in its log lines.
  HRESULT passOccupancyGate(const char* disabledLine, const char* heldLine);
  // Reconnects through the graph with the type in m_mt; when that fails, the connection to `peer`
  // comes back with `previous`. Called without the filter's lock.
  HRESULT reconnectWithCurrentType(IPin* peer, const CMediaType& previous);
  // The reconnected type becomes the request, published with SetFormat's tags.
  void publishReconnectedFormat();
  // Size, bit count and periods of a new type become the request published to the mixer.
  void takeRequestedFormat(const VIDEOINFOHEADER& format);
};
