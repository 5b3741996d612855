# The sources of the shared library bring what moc made of them; making it again would find no headers.
set_target_properties(OrvaneCloudProtocolInternals PROPERTIES AUTOMOC OFF)
add_dependencies(OrvaneCloudProtocolInternals OrvaneCloudProtocol)

orvane_test(ClientCallbacksTest LIBRARIES OrvaneCloudProtocol)
orvane_test(ProtocolContractTest LIBRARIES OrvaneCloudProtocol)
orvane_test(DocumentIdTest LIBRARIES OrvaneCloudProtocolInternals)
orvane_test(FolderTransportTest LIBRARIES OrvaneCloudProtocolInternals)
orvane_test(RequestQueueTest LIBRARIES OrvaneCloudProtocolInternals)
orvane_test(ServerTraitsTest LIBRARIES OrvaneCloudProtocolInternals)
orvane_test(WebDavFaultsTest LIBRARIES OrvaneCloudProtocolInternals)
orvane_test(WebDavFormatsTest LIBRARIES OrvaneCloudProtocolInternals)
orvane_test(WebDavLimitsTest LIBRARIES OrvaneCloudProtocolInternals)
orvane_test(WebDavServersTest LIBRARIES OrvaneCloudProtocol)
orvane_test(WebDavTransportTest LIBRARIES OrvaneCloudProtocolInternals)

foreach(test IN ITEMS ProtocolContractTest WebDavServersTest)
    target_compile_definitions(${test} PRIVATE
        ORVANE_WEBDAV_SERVER="${CMAKE_CURRENT_SOURCE_DIR}/support/servers/webdav-server")
endforeach()
