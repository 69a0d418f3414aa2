{
  'targets': [
    {
      'target_name': 'sqlite_napi',
      'sources': ['sqlite-napi.cpp'],
      'dependencies': ['<!(node -p "require(\'node-addon-api\').targets"):node_addon_api_except'],
      'libraries': ['-lsqlite3'],
    },
  ],
}
