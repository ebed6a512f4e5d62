# The names of the C functions, which the library exports on every system.
set(c_functions
    vorin_SttCreate
    vorin_SttCreateContext
    vorin_SttCreateDevice
    vorin_SttDestroy
    vorin_SttDestroyContext
    vorin_SttDestroyDevice
    vorin_SttEnumDevice
    vorin_SttGetConfig
    vorin_SttGetVersion
    vorin_SttPrepare
    vorin_SttProcessFrame
    vorin_SttSetConfig
    vorin_SttStop
    vorin_SttSyncOperation)
