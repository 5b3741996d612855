"""What people would use instead of our client, curl aside."""

from processes import measure

TRANSFERS = 6  # at once, as many as our client runs


class Rclone:
    @staticmethod
    def list_members(cloud, collection, _count, _scratch):
        return measure(["rclone", "lsjson", cloud.rclone_name(collection)], env=cloud.rclone_environment)

    @staticmethod
    def upload(cloud, collection, files, _scratch):
        return Rclone._copy(cloud, files[0].parent, cloud.rclone_name(collection))

    @staticmethod
    def download(cloud, collection, _names, target, _scratch):
        return Rclone._copy(cloud, cloud.rclone_name(collection), target)

    @staticmethod
    def _copy(cloud, source, target):
        command = ["rclone", "copy", "--transfers", TRANSFERS, source, target]
        return measure(command, env=cloud.rclone_environment)


class Cp:
    @staticmethod
    def upload(_cloud, collection, files, _scratch):
        return measure(["cp", *files, collection])

    @staticmethod
    def download(_cloud, collection, names, target, _scratch):
        return measure(["cp", *(collection / name for name in names), target])


class Hashing:
    """Moves nothing: it shows what the MD5 of the bytes costs alone."""

    @staticmethod
    def upload(_cloud, _collection, files, _scratch):
        return measure(["openssl", "dgst", "-md5", *files])

    @staticmethod
    def download(_cloud, collection, names, _target, _scratch):
        return measure(["openssl", "dgst", "-md5", *(collection / name for name in names)])
