# Checks the DLL's tables: it exports members of KWRRender, public and
# internal ones alike, and of KWRImage, and nothing else; and it needs no MinGW runtime DLL
# (libstdc++, libgcc, winpthread are linked in), only system DLLs.
execute_process(COMMAND ${OBJDUMP} -p ${DLL} OUTPUT_VARIABLE table RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "objdump failed: ${rc}")
endif()
foreach(symbol
    _ZN9KWRRenderC1Ev _ZN9KWRRenderD1Ev _ZN9KWRRenderaSERKS_
    _ZN9KWRRender13kwrInitBufferEii _ZN9KWRRender8kwrClearEv _ZN9KWRRender9kwrGetDibEPPvS1_
    _ZN9KWRRender9kwrRenderEP5HDC__ii
    _ZN9KWRRender11kwrTriangleEiiiiii _ZN9KWRRender6kwrBoxEiiii
    _ZN9KWRRender17rasterTriangle3ctEii _ZN9KWRRender17UpdateScanLine3ctEiif7KWColorffiifS0_ff
    _ZN9KWRRender9DrawLine3Eiifiif
    _ZN8KWRImageC1Ev _ZN8KWRImageD1Ev _ZN8KWRImageC1ERKS_ _ZN8KWRImageaSERKS_
    _ZN8KWRImage7kwrLoadEPKcPK19KWRImageLoadOptions _ZN8KWRImage7kwrLoadEPKwPK19KWRImageLoadOptions
    _ZN8KWRImage13kwrLoadMemoryEPKvyPK19KWRImageLoadOptions _ZN8KWRImage7kwrSaveEPKw
    _ZN8KWRImage12kwrSaveFrameER9KWRRenderPKwPi _ZNK8KWRImage7kwrDrawEP5HDC__iiii
    _ZNK8KWRImage16kwrCreatePaletteEv _ZN8KWRImage16kwrSelectPaletteEP5HDC__P10HPALETTE__
    _ZN8KWRImage12kwrErrorTextEi
    kwr_create kwr_destroy kwr_triangle3ctf kwr_triangles3ctf kwr_image_load kwr_version)
  string(FIND "${table}" "${symbol}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "${symbol} is not exported by ${DLL}")
  endif()
endforeach()

# The export name table: lines "[ordinal] name" after its heading.
string(FIND "${table}" "[Ordinal/Name Pointer] Table" at)
if(at EQUAL -1)
  message(FATAL_ERROR "no export name table in ${DLL}")
endif()
string(SUBSTRING "${table}" ${at} -1 names)
string(REGEX MATCHALL "\n\t\\[ *[0-9]+\\] [^\n]+" exports "${names}")
list(LENGTH exports count)
foreach(line IN LISTS exports)
  if(NOT line MATCHES "\\] (_ZN(9KWRRender|K?8KWRImage)|kwr_[a-z0-9_]+$)")
    message(FATAL_ERROR "exported but not a KWRRender or KWRImage member or a C function:${line}")
  endif()
endforeach()

string(REGEX MATCHALL "DLL Name: [^\n]+" imports "${table}")
foreach(line IN LISTS imports)
  if(line MATCHES "(libstdc|libgcc|libwinpthread)")
    message(FATAL_ERROR "${DLL} needs a MinGW runtime DLL: ${line}")
  endif()
endforeach()
message(STATUS "${count} exports, KWRRender and KWRImage members and C functions; imports: ${imports}")
