# Deflate LZ77 matching tests.
