# Checks the shared library's dynamic symbols: members of KWRRender, public
# and internal ones alike, members of KWRImage, the C interface's kwr_
# functions, and no other strong symbol (internal code stays
# hidden).  Weak instances of standard-library templates that an unoptimised
# build leaves out of line are exported by the standard headers themselves
# and are not checked.
execute_process(COMMAND ${NM} -D --defined-only ${LIB} OUTPUT_VARIABLE table RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "nm failed: ${rc}")
endif()
foreach(symbol
    _ZN9KWRRenderC1Ev _ZN9KWRRenderD1Ev _ZN9KWRRenderaSERKS_
    _ZN9KWRRender13kwrInitBufferEii _ZN9KWRRender8kwrClearEv _ZN9KWRRender9kwrGetDibEPPvS1_
    _ZN9KWRRender9kwrRenderEP11KWRMemoryDCii
    _ZN9KWRRender17rasterTriangle3ctEii _ZN9KWRRender17UpdateScanLine3ctEiif7KWColorffiifS0_ff
    _ZN8KWRImageC1Ev _ZN8KWRImageD1Ev _ZN8KWRImageC1ERKS_ _ZN8KWRImageaSERKS_
    _ZN8KWRImage7kwrLoadEPKcPK19KWRImageLoadOptions _ZN8KWRImage7kwrLoadEPKwPK19KWRImageLoadOptions
    _ZN8KWRImage13kwrLoadMemoryEPKvmPK19KWRImageLoadOptions _ZN8KWRImage7kwrSaveEPKc
    _ZN8KWRImage12kwrSaveFrameER9KWRRenderPKcPi _ZNK8KWRImage7kwrDrawEP11KWRMemoryDCiiii
    _ZN8KWRImage12kwrErrorTextEi
    kwr_create kwr_destroy kwr_triangle3ctf kwr_triangles3ctf kwr_image_load kwr_version)
  string(FIND "${table}" " ${symbol}\n" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "${symbol} is not exported by ${LIB}")
  endif()
endforeach()
string(REGEX MATCHALL "[^\n]+" lines "${table}")
list(LENGTH lines count)
foreach(line IN LISTS lines)
  if(line MATCHES " [TDBR] " AND NOT line MATCHES " (_ZN(9KWRRender|K?8KWRImage)|kwr_[a-z0-9_]+$)")
    message(FATAL_ERROR "exported but not a KWRRender or KWRImage member or a C function: ${line}")
  endif()
endforeach()
message(STATUS "${count} exports, all KWRRender or KWRImage members or C functions")
