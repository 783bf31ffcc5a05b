# Checks that the DLL's export table lists members of KWRRender, public and
# internal ones alike.
execute_process(COMMAND ${OBJDUMP} -p ${DLL} OUTPUT_VARIABLE table RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "objdump failed: ${rc}")
endif()
foreach(symbol
    _ZN9KWRRenderC1Ev _ZN9KWRRenderD1Ev _ZN9KWRRenderaSERKS_
    _ZN9KWRRender13kwrInitBufferEii _ZN9KWRRender8kwrClearEv
    _ZN9KWRRender9kwrRenderEP5HDC__ii
    _ZN9KWRRender11kwrTriangleEiiiiii _ZN9KWRRender6kwrBoxEiiii
    _ZN9KWRRender17rasterTriangle3ctEii _ZN9KWRRender17UpdateScanLine3ctEiif7KWColorffiifS0_ff
    _ZN9KWRRender9DrawLine3Eiifiif)
  string(FIND "${table}" "${symbol}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "${symbol} is not exported by ${DLL}")
  endif()
endforeach()
message(STATUS "all checked members are exported")
