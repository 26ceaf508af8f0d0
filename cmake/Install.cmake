# Where the product goes. The places are fixed: the daemon has them compiled in.
install(TARGETS websec websecctl websec-catserver RUNTIME DESTINATION /usr/sbin)
install(TARGETS asapsdk clrptmod dbmod urlcheck webcat LIBRARY DESTINATION ${WEBSEC_PRODUCT_DIR})
install(DIRECTORY ${CMAKE_BINARY_DIR}/translation DESTINATION ${WEBSEC_PRODUCT_DIR})
