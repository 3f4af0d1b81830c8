# Deflate Huffman output, code building and the fastest family: sources appended to LUMDC_SOURCES.
