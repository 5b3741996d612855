foreach(test IN ITEMS CloudAccountSettingsTest HashMemoryTest LocalFileSystemTest SqliteCloudInfoStorageTest)
    orvane_test(${test} LIBRARIES OrvaneCloudHost OrvaneCloudSupport)
endforeach()
