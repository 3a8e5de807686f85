# What a document has for its readers elsewhere, for doxygen: headings get the anchors that links
# name, links to them and to headers lose the folder. Pages of other folders are no part of it.
/^###* [^0-9]/ {
    h
    s/^#* //
    s/[^A-Za-z0-9 -]//g
    s/ /-/g
    s/.*/ {#\L&}/
    H
    g
    s/\n//
}
s/\](\([a-z/-]*\.md\)*#\([a-z0-9-]*\))/](#\2)/g
s/\[\([^]]*\)\](\.\.\/\([^)]*\))/@ref \2 "\1"/g
s/\[\([^]]*\)\]([a-z]*\/README\.md)/\1/g
