/** @file
 * vorin_stt.h: the public interface of the Vorin style-transfer library, version 0.5.
 *
 * Compiles alone as C11 and as C++17. The library restyles video frames or still images. Two equivalent interfaces
 * share one implementation: 14 C functions over an opaque handle, and, for C++ hosts, SttFactory and SttInterface.
 *
 * Calling order (both interfaces). Nothing enforces it; each function states the consequences of another order.
 *
 *   create
 *   EnumDevice        once with a null list for the count, then with a list of that many records
 *   CreateDevice      picks a GPU; without it the device named "GPU" is used
 *   CreateContext
 *   SetConfig         for each key; SttCfgWidth and SttCfgHeight are required for every style but SttStyleTransfer
 *   Prepare           builds the engine of the configured style; again after a change of style
 *   ProcessFrame      for each frame; SyncOperation as needed
 *   Stop, DestroyContext, DestroyDevice
 *   destroy
 *
 * Threads. The library starts no threads of its own and takes no locks. One object serves one thread at a time; the host
 * serialises its calls into one object. Different objects may work on different threads, with two exceptions: the diagnostic log,
 * whose state is shared by the whole process without synchronisation, and Prepare for a neural style, which writes and deletes
 * files of fixed names in the writable folder (one Prepare at a time; programs that share that folder count as one). The log's
 * switch is an environment variable (Windows: a registry value), so the user may turn it on: a host with objects on several
 * threads removes the variable before it creates the first one. Every call is synchronous: when a function returns, its work is
 * done.
 *
 * Endless waits. Two calls of Prepare for a neural style deliberately do not return, and keep a processor core busy: one that
 * finds no folder to write to but a temporary folder that cannot be written to, until it can be; and one for a package that is
 * cut off, until the missing bytes are there.
 *
 * Exceptions. Errors found while an engine is set up become statuses. ProcessFrame catches nothing: it throws errors of the
 * imaging library and of the inference runtime as C++ exceptions (cv::Exception and the like, all derived from std::exception).
 * So does an error of the inference runtime or of memory allocation while an object is created. Prepare and SetConfig may throw
 * std::bad_alloc, and nothing else. A C host that cannot catch must avoid the causes, which are listed at ProcessFrame.
 *
 * What is not checked, anywhere: null handles, handles already destroyed, null pointers (but where "or null" stands), the size of
 * output buffers. */
#ifndef VORIN_STT_H
#define VORIN_STT_H

#include <stdint.h>

/** @def VORIN_STT_API
 * Marks what the library exports. */
#if defined(_WIN32)
#if defined(VORIN_STT_BUILDING)
#define VORIN_STT_API __declspec(dllexport)
#elif defined(VORIN_STT_STATIC)
#define VORIN_STT_API
#else
#define VORIN_STT_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define VORIN_STT_API __attribute__((visibility("default")))
#else
#define VORIN_STT_API
#endif

/** @def VORIN_STT_ENUM_BASE
 * Fixes the size of an enumeration in C++; C compilers take that of int, which is the same. */
#ifdef __cplusplus
#define VORIN_STT_ENUM_BASE(type) : type
extern "C" {
#else
#define VORIN_STT_ENUM_BASE(type)
#endif

/** Status of every operation: signed, 32 bits. */
typedef enum _VorinStatus VORIN_STT_ENUM_BASE(int32_t){
    VORIN_STATUS_OK = 0,              /**< success */
    VORIN_STATUS_UNSUPPORTED = -1,    /**< ProcessFrame: the input frame does not lie in system memory */
    VORIN_STATUS_INVALID_PARAM = -2,  /**< SetConfig, GetConfig: unknown key; ProcessFrame: the style image cannot be used */
    VORIN_STATUS_FAILED = -4,         /**< create: no memory for the handle; CreateDevice: no such device; Prepare: any failure */
    VORIN_STATUS_PATH_NOT_FOUND = -5, /**< inside Prepare only, which reports it as VORIN_STATUS_FAILED */
    VORIN_STATUS_UNKNOWN_TYPE = -6    /**< inside Prepare only, which reports it as VORIN_STATUS_FAILED */
} _VorinStatus;

/** Version: two numbers, major first. */
typedef struct SttVersion {
  int32_t major; /**< 0 */
  int32_t minor; /**< 5 */
} SttVersion;

/* ---- Devices ----------------------------------------------------------------------------------- */

/** Kinds of devices. EnumDevice reports kinds 0 and 1; hosts ask CreateDevice for 0, 1 or 8. */
typedef enum SttDeviceKind VORIN_STT_ENUM_BASE(int32_t){
    SttDeviceIntegratedGpu = 0, /**< reported and requested */
    SttDeviceDiscreteGpu = 1,   /**< reported and requested */
    SttDeviceAnyGpu = 8,        /**< request only: an integrated GPU before a discrete one */
    SttDeviceGna = 14,          /**< kept in the device table, never reported */
    SttDeviceCpu = 15,          /**< likewise */
    SttDeviceOther = 16         /**< likewise */
} SttDeviceKind;

#define VORIN_STT_NAME_BYTES 128 /**< size of every text field below, terminating NUL included */

/** One GPU as EnumDevice reports it: 168 bytes. */
typedef struct SttDeviceInfo {
  int32_t kind;                    /**< SttDeviceKind */
  int32_t reserved;                /**< 0 */
  char name[VORIN_STT_NAME_BYTES]; /**< the GPU's full name */
  uint8_t untouched[32];           /**< neither written nor read by the library */
} SttDeviceInfo;

/** A request to CreateDevice: the first 136 bytes of an SttDeviceInfo, so a reported record may be passed on with a cast.
 * Only the kind decides; the name is kept in the selected record. A name that is not terminated within its field is kept as an
 * empty text. */
typedef struct SttDeviceRequest {
  int32_t kind;                    /**< SttDeviceKind: 0, 1 or 8 */
  int32_t reserved;                /**< copied to the selected record */
  char name[VORIN_STT_NAME_BYTES]; /**< copied to the selected record's full name */
} SttDeviceRequest;

/** The selected device, which lies inside the object: valid until the object is destroyed, changed by every CreateDevice,
 * read-only. */
typedef struct SttDeviceRecord {
  int32_t kind;                          /**< as requested */
  int32_t reserved;                      /**< as requested */
  uint32_t vendorId;                     /**< 0x7A3C in the records of the device table; 0 in a selected record */
  uint32_t unused;                       /**< 0 */
  char fullName[VORIN_STT_NAME_BYTES];   /**< in a selected record: the request's name */
  char deviceName[VORIN_STT_NAME_BYTES]; /**< the inference runtime's name, such as "GPU.0"; "notfind" after a failed request */
} SttDeviceRecord;

/* ---- Configuration ----------------------------------------------------------------------------- */

/** Keys of SetConfig and GetConfig. */
typedef enum SttConfigKey VORIN_STT_ENUM_BASE(uint32_t){
    SttCfgStyleType = 0, /**< int32_t, an SttStyleType; -1 until set */
    SttCfgStyleIndex =
        1, /**< int32_t; -1 until set. For SttStyleTransfer: 0 the 512 network, 2 the 540p network, any other the 256 one */
    SttCfgWidth = 2,    /**< int32_t, pixels: the delivered width; 0 until set */
    SttCfgHeight = 3,   /**< int32_t, pixels: the delivered height; 0 until set */
    SttCfgReserved = 4, /**< int32_t: stored and reported, otherwise unused; 0 until set */
    SttCfgModelPath =
        5 /**< NUL-terminated text: the folder of "model_st.bin"; the program's own folder until set; cannot be read back */
} SttConfigKey;

/** Values of SttCfgStyleType. */
typedef enum SttStyleType VORIN_STT_ENUM_BASE(int32_t){
    SttStyleTransfer = 0,    /**< the look of a style image, by a neural network */
    SttStyleLightGrey = 1,   /**< fixed, neural */
    SttStyleCartoon = 2,     /**< fixed, neural */
    SttStyleStippling = 3,   /**< an OpenCL filter */
    SttStylePencilSketch = 4 /**< an OpenCL filter */
} SttStyleType;

/* ---- Frames ------------------------------------------------------------------------------------ */

#define VORIN_MEM_SYSTEM 0u /**< pixels in ordinary host memory: the only memory type accepted for an input frame */

/** Pixel formats: 8 bits a sample, top row first, no alignment asked of any pointer. Other codes are unsupported: as an output
 * format they leave the buffer untouched, as an input format they make ProcessFrame throw (with SttCfgWidth and SttCfgHeight both
 * 0 a filter style's BGRA output is empty instead). YUV is the video-range BT.601 conversion for NV12 and for YUY2 input;
 * YUY2 output is full-range YUV. */
typedef enum SttPixelFormat VORIN_STT_ENUM_BASE(uint32_t){
    VORIN_FMT_BGRA = 1,  /**< 4 bytes a pixel: blue, green, red, alpha. Output alpha is 255 */
    VORIN_FMT_RGBA = 2,  /**< 4 bytes a pixel: red, green, blue, alpha */
    VORIN_FMT_BGR24 = 3, /**< 3 bytes a pixel: blue, green, red; a neural style may write into such an input, see ProcessFrame */
    VORIN_FMT_NV12 = 5,  /**< 4:2:0: height rows of luma, then height / 2 rows of width / 2 pairs U, V; width and height even */
    VORIN_FMT_YUY2 = 6   /**< 4:2:2, 2 bytes a pixel: Y0, U, Y1, V for each pair of pixels; input widths even */
} SttPixelFormat;

/** A frame. Natural alignment: 32 bytes where pointers have 64 bits. Rows follow each other without padding in every format,
 * whatever the pitch says, with two exceptions: NV12 input of a neural style, and NV12 output of a neural style, honour the
 * pitch. It must then be at least the width, and the buffer must hold 3/2 x pitch x height bytes: of the last row too, the
 * padding is read. */
typedef struct SttFrame {
  uint32_t memoryType;  /**< input: VORIN_MEM_SYSTEM; not read in style images and output frames */
  void* data;           /**< first pixel byte; the host owns the memory in every case */
  uint32_t pixelFormat; /**< SttPixelFormat; in an output frame: the format to deliver */
  uint32_t width;       /**< pixels; in an output frame written by the library: the delivered width */
  uint32_t height;      /**< pixels; in an output frame written by the library: the delivered height */
  uint32_t pitch;       /**< bytes a row of the first plane; read in the two cases above only */
} SttFrame;

/* ---- C functions ------------------------------------------------------------------------------- */

typedef struct VorinSttCell* VorinSttHandle; /**< an object seen from C */
typedef void* VorinSttContext;               /**< returned by CreateContext; every function ignores the one it is passed */

/** Creates an object and a handle to it. Reads the log switch, lists the inference runtime's devices and scans the display
 * adapters. *handle: written on success only; owned by the host until vorin_SttDestroy. Returns VORIN_STATUS_OK, or
 * VORIN_STATUS_FAILED when there is no memory for the handle. May throw (see "Exceptions"). Thread-safety: not while another
 * object is created, if the log is on. */
VORIN_STT_API _VorinStatus vorin_SttCreate(VorinSttHandle* handle);

/** Frees the handle and the object's own storage, and deliberately nothing else: the object's destructor does not run, so its
 * engines, images and the open log file stay until the process ends: memory, and the threads and descriptors of the runtimes. A
 * host that creates objects repeatedly should use SttFactory. The storage is deliberately freed with the handle's size: an
 * allocator that checks sizes, such as AddressSanitizer's, ends the process (its option new_delete_type_mismatch=0 prevents
 * that). Returns VORIN_STATUS_OK. Thread-safety: no other call on this handle, now or later. */
VORIN_STT_API _VorinStatus vorin_SttDestroy(VorinSttHandle handle);

/* Each of the following calls the operation of the same name of SttInterface, below, where it is described. */

/** Calls SttInterface::GetVersion. */
VORIN_STT_API _VorinStatus vorin_SttGetVersion(VorinSttHandle handle, SttVersion* version);
/** Calls SttInterface::EnumDevice. */
VORIN_STT_API _VorinStatus vorin_SttEnumDevice(VorinSttHandle handle, SttDeviceInfo* list, int32_t* count);
/** Calls SttInterface::CreateDevice. */
VORIN_STT_API _VorinStatus vorin_SttCreateDevice(VorinSttHandle handle, const SttDeviceRequest* request,
                                                 SttDeviceRecord** device);
/** Calls SttInterface::CreateContext. */
VORIN_STT_API _VorinStatus vorin_SttCreateContext(VorinSttHandle handle, SttDeviceRecord* device, VorinSttContext* context);
/** Calls SttInterface::SetConfig. */
VORIN_STT_API _VorinStatus vorin_SttSetConfig(VorinSttHandle handle, VorinSttContext context, uint32_t key, const void* value);
/** Calls SttInterface::GetConfig. */
VORIN_STT_API _VorinStatus vorin_SttGetConfig(VorinSttHandle handle, VorinSttContext context, uint32_t key, int32_t* value);
/** Calls SttInterface::Prepare. */
VORIN_STT_API _VorinStatus vorin_SttPrepare(VorinSttHandle handle, VorinSttContext context);
/** Calls SttInterface::ProcessFrame. */
VORIN_STT_API _VorinStatus vorin_SttProcessFrame(VorinSttHandle handle, VorinSttContext context, const SttFrame* input,
                                                 const SttFrame* styleImage, SttFrame* output);
/** Calls SttInterface::SyncOperation. */
VORIN_STT_API _VorinStatus vorin_SttSyncOperation(VorinSttHandle handle, VorinSttContext context);
/** Calls SttInterface::Stop. */
VORIN_STT_API _VorinStatus vorin_SttStop(VorinSttHandle handle, VorinSttContext context);
/** Calls SttInterface::DestroyContext. */
VORIN_STT_API _VorinStatus vorin_SttDestroyContext(VorinSttHandle handle, VorinSttContext context);
/** Calls SttInterface::DestroyDevice. */
VORIN_STT_API _VorinStatus vorin_SttDestroyDevice(VorinSttHandle handle, SttDeviceRecord* device);

#ifdef __cplusplus
} /* extern "C" */

/* ---- C++ classes ------------------------------------------------------------------------------- */

/** The twelve operations, in the order of the table of virtual functions, which is part of the binary interface. There is no
 * virtual destructor: only SttFactory::Destroy destroys an object. Thread-safety of all: one call at a time on one object. */
class VORIN_STT_API SttInterface {
public:
  /** Writes 0 and 5. Returns VORIN_STATUS_OK. */
  virtual _VorinStatus GetVersion(SttVersion* version) = 0;

  /** Reports the GPUs of the inference runtime, in its order. list: room for every GPU (not checked), or null to learn the count.
   * *count: the number of GPUs, 0 on a machine without one. Returns VORIN_STATUS_OK. */
  virtual _VorinStatus EnumDevice(SttDeviceInfo* list, int32_t* count) = 0;

  /** Selects the last GPU of the requested kind; SttDeviceAnyGpu prefers an integrated one. (The other kinds select the last
   * device of that kind, for the neural styles; the filters run on none of them.) *device: the selected record, owned by the
   * object, written in every case. Returns VORIN_STATUS_OK, or VORIN_STATUS_FAILED when there is none; the object then continues
   * with the device name "notfind", for which no network can be prepared. */
  virtual _VorinStatus CreateDevice(const SttDeviceRequest* request, SttDeviceRecord** device) = 0;

  /** *context: the object itself; there is nothing to release. The device is ignored. Returns VORIN_STATUS_OK. */
  virtual _VorinStatus CreateContext(SttDeviceRecord* device, VorinSttContext* context) = 0;

  /** Stores a value, unvalidated. value: an int32_t for keys 0 to 4, a NUL-terminated text for SttCfgModelPath, copied in both
   * cases. Width and height are read again by every frame; all else takes effect at the next Prepare. Changing the style type
   * without another Prepare makes ProcessFrame use an engine that may not exist. Returns VORIN_STATUS_OK, or
   * VORIN_STATUS_INVALID_PARAM for another key. Throws std::bad_alloc. */
  virtual _VorinStatus SetConfig(VorinSttContext context, uint32_t key, const void* value) = 0;

  /** Reads keys 0 to 4. Returns VORIN_STATUS_OK, or VORIN_STATUS_INVALID_PARAM for another key (*value stays unchanged). */
  virtual _VorinStatus GetConfig(VorinSttContext context, uint32_t key, int32_t* value) = 0;

  /** Sets up the engine of the configured style on the selected device. May take seconds; an engine that is already set up is
   * kept. Returns VORIN_STATUS_OK, or VORIN_STATUS_FAILED for an unknown style type or a network that cannot be loaded (the
   * diagnostic log says why). The set-up of an OpenCL filter is deliberately not reported: if it fails, Prepare succeeds and
   * frames are black, BGRA and RGBA ones with an alpha of 0. Throws std::bad_alloc. */
  virtual _VorinStatus Prepare(VorinSttContext context) = 0;

  /** Restyles one frame.
   * input: read during the call only, with one exception: a VORIN_FMT_BGR24 frame of exactly the network's size is worked on in
   * place, so that SttStyleTransfer smooths its pixels against the frame before, and SttStyleCartoon blackens its last column;
   * pass a copy if you need the frame afterwards, and never read-only memory. styleImage: for SttStyleTransfer, the image whose
   * look the frame gets, or null to keep the last one; other styles ignore it. output: the host sets data and pixelFormat
   * (and pitch for NV12); the library fills the pixels and sets width and height to the delivered size W x H, which is
   * SttCfgWidth x SttCfgHeight (for SttStyleTransfer the network's size while one of the two is 0). The buffer must hold,
   * unchecked, 4 W H bytes for BGRA and RGBA, 3 W H for BGR24, 2 W H for YUY2, and for NV12 3/2 pitch H after a neural style, 3/2
   * W H after a filter style. Returns VORIN_STATUS_OK; VORIN_STATUS_UNSUPPORTED for an input memory type other than
   * VORIN_MEM_SYSTEM (nothing is written); VORIN_STATUS_INVALID_PARAM when the style image cannot be used (nothing is written).
   * An unsupported output format returns VORIN_STATUS_OK with the size written and the pixels untouched. A filter style's frame
   * deliberately returns VORIN_STATUS_OK too where the device fails: it is black, with an alpha of 0, if the frame is larger than
   * the device's images can be or a step fails, and has wrong pixels, as every later frame of that size, if the upload of the
   * filter's tables failed. Throws, among others: for every style but SttStyleTransfer when SttCfgWidth or SttCfgHeight is 0
   * while the size would have to change; for an unsupported input format; for NV12 output of odd size and NV12 input of odd rows
   * or an odd height; for YUY2 input of odd width; for a neural style before a Prepare for one, and for a filter style before a
   * Prepare for one. */
  virtual _VorinStatus ProcessFrame(VorinSttContext context, const SttFrame* input, const SttFrame* styleImage,
                                    SttFrame* output) = 0;

  /** Waits for nothing, since every frame is complete when ProcessFrame returns. Returns VORIN_STATUS_OK. */
  virtual _VorinStatus SyncOperation(VorinSttContext context) = 0;

  /** Releases nothing. Returns VORIN_STATUS_OK. */
  virtual _VorinStatus Stop(VorinSttContext context) = 0;

  /** Does nothing. Returns VORIN_STATUS_OK. */
  virtual _VorinStatus DestroyContext(VorinSttContext context) = 0;

  /** Does nothing. Returns VORIN_STATUS_OK. */
  virtual _VorinStatus DestroyDevice(SttDeviceRecord* device) = 0;
};

/** Makes and destroys objects for C++ hosts that share the library's C++ ABI for virtual calls. */
class VORIN_STT_API SttFactory {
public:
  /** *object: a new object, owned by the host until Destroy. Returns VORIN_STATUS_OK. May throw, as vorin_SttCreate. */
  static _VorinStatus Create(SttInterface** object);

  /** Runs the object's destructor and frees it: engines, images, and the log file, which closes for all objects of the process.
   * object: one made by Create, or null. Returns VORIN_STATUS_OK. */
  static _VorinStatus Destroy(SttInterface* object);
};
#endif /* __cplusplus */

#endif /* VORIN_STT_H */
