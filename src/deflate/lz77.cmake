# Deflate LZ77 matching: sources appended to LUMDC_SOURCES.
