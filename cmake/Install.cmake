# Where the product goes. The places are fixed: the daemon has them compiled in.
install(TARGETS websec websecctl websec-catserver RUNTIME DESTINATION /usr/sbin)
install(TARGETS asapsdk clrptmod dbmod urlcheck webcat LIBRARY DESTINATION ${WEBSEC_PRODUCT_DIR})
install(DIRECTORY ${CMAKE_BINARY_DIR}/translation DESTINATION ${WEBSEC_PRODUCT_DIR})

# A configuration that stands there already is the administrator's.
install(CODE "
    set(config \"\$ENV{DESTDIR}${WEBSEC_PRODUCT_DIR}/websec.cfg\")
    if(NOT EXISTS \"\${config}\")
        file(INSTALL \"${CMAKE_SOURCE_DIR}/packaging/websec.cfg\" DESTINATION \"${WEBSEC_PRODUCT_DIR}\")
    endif()")
