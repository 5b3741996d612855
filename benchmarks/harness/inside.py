def findings(bench):
    return ()
