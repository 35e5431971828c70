# cmake -DFILE=... -DSOURCE=... -DNAME=... -P embed.cmake: a C++ source that holds a file's bytes.
file(READ ${FILE} hex HEX)
string(REGEX REPLACE "(..)" "0x\\1," bytes "${hex}")
string(REGEX REPLACE "((0x..,){24})" "\\1\n" bytes "${bytes}")
file(WRITE ${SOURCE}.new
"namespace varnel::embedded {
extern const unsigned char ${NAME}[];
extern const unsigned long ${NAME}Size;
const unsigned char ${NAME}[] = {\n${bytes}};
const unsigned long ${NAME}Size = sizeof(${NAME});
}  // namespace varnel::embedded
")
file(RENAME ${SOURCE}.new ${SOURCE})
