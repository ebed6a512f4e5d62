"""The demo's networks: model_st.bin in this folder, which vorin_stt finds by itself."""

__version__ = "@VERSION@"
