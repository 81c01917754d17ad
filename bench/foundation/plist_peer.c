/* SPDX-License-Identifier: LGPL-2.1-or-later */
/* The peer of `qjkit plist convert` for compare.sh: reads an XML property list with libplist
 * (plist_from_xml) and writes it again as XML (plist_to_xml) to standard output.
 *
 *   plist_peer FILE */
#include <plist/plist.h>

#include <stdio.h>
#include <stdlib.h>

int main(int argc, char **argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: plist_peer FILE\n");
        return 2;
    }
    FILE *file = fopen(argv[1], "rb");
    if (!file) {
        perror(argv[1]);
        return 2;
    }
    fseek(file, 0, SEEK_END);
    const long size = ftell(file);
    fseek(file, 0, SEEK_SET);
    char *text = malloc(size > 0 ? (size_t)size : 1);
    if (!text || fread(text, 1, (size_t)size, file) != (size_t)size) {
        fprintf(stderr, "plist_peer: cannot read %s\n", argv[1]);
        return 2;
    }
    fclose(file);

    plist_t root = NULL;
    plist_from_xml(text, (uint32_t)size, &root);
    free(text);
    if (!root) {
        fprintf(stderr, "plist_peer: %s is not an XML property list\n", argv[1]);
        return 1;
    }
    char *xml = NULL;
    uint32_t length = 0;
    plist_to_xml(root, &xml, &length);
    plist_free(root);
    if (!xml)
        return 1;
    const int written = fwrite(xml, 1, length, stdout) == length;
    free(xml);
    return written ? 0 : 1;
}
