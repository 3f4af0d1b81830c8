# Deflate Huffman output, code building and fastest-family tests.
