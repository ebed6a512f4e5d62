"""Runs jobs of vorin-stylize on other engines: ``python -m vorin_stt.dask`` does the units of a job on a Dask cluster."""
