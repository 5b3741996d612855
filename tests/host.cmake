foreach(test IN ITEMS CloudAccountSettingsTest HashMemoryTest LocalFileSystemTest Md5Test PrivateFilesTest
        SqliteCloudInfoStorageTest)
    orvane_test(${test} LIBRARIES OrvaneCloudHost OrvaneCloudSupport)
endforeach()
