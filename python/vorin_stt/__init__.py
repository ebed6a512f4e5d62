"""Runs jobs of vorin-stylize on other engines: ``python -m vorin_stt.dask`` does them on a Dask cluster."""
