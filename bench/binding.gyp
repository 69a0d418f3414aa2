{
  'variables': {
    'zaxbase': '../libzaxbase/zaxbase.gyp:zaxbase',
    'napi': '<!(node -p "require(\'node-addon-api\').targets"):node_addon_api_except',
    'nan': '<!(node -e "require(\'nan\')")',
    'prebuilt': '<!(ZAXBASE_COMPILE= node -p "require(\'../libzaxbase\').source")',
    'prebuilt_native': '<!(ZAXBASE_COMPILE= ZAXBASE_SPLIT=1 node -p "require(\'../libzaxbase\').source")',
    'plain_flags': ['<!@(node -p "require(\'../libzaxbase\').flags.join(\' \')")'],
  },
  'target_defaults': {
    'cflags': ['-fvisibility=hidden'],
    # node.h's NODE_MODULE casts the registration function, whatever its parameters.
    'cflags_cc': ['-Wno-cast-function-type'],
    'cflags_cc!': ['-fno-exceptions'],
  },
  'targets': [
    {
      'target_name': 'zax',
      'sources': ['contenders/zax.cpp'],
      'dependencies': ['<(zaxbase)'],
    },
    {
      'target_name': 'nan',
      'sources': ['contenders/nan.cpp', 'contenders/plain-nan.cpp'],
      'include_dirs': ['<(nan)'],
    },
    {
      'target_name': 'napi',
      'sources': ['contenders/napi.cpp', 'contenders/plain-napi.cpp'],
      'dependencies': ['<(napi)'],
    },
    {
      'target_name': 'raw',
      'sources': ['contenders/raw.cpp', 'contenders/plain-raw.cpp'],
    },
    {
      # What each add-on on the plain road compiles in its own target.
      'target_name': 'zax_unit',
      'type': 'static_library',
      'sources': ['<!(node -p "require(\'../libzaxbase\').source")'],
      'cflags_cc': ['<@(plain_flags)'],
      'direct_dependent_settings': {'cflags_cc': ['<@(plain_flags)']},
    },
    {
      'target_name': 'plain_zax',
      'sources': ['contenders/plain-zax.cpp'],
      'dependencies': ['zax_unit'],
    },
    {
      # As `zaxbase prebuild` links it.
      'target_name': 'plain_zax_split',
      'sources': ['contenders/plain-zax.cpp', '<(prebuilt_native)'],
      'cflags_cc': ['<@(plain_flags)'],
      'ldflags': ['-Wl,--gc-sections', '-Wl,-z,defs'],
    },
    {
      'target_name': 'minimal_zax',
      'sources': ['minimal/zax.cpp'],
      'dependencies': ['<(zaxbase)'],
    },
    {
      'target_name': 'minimal_nan',
      'sources': ['minimal/nan.cpp'],
      'include_dirs': ['<(nan)'],
    },
    {
      'target_name': 'minimal_napi',
      'sources': ['minimal/napi.cpp'],
      'dependencies': ['<(napi)'],
    },
    {
      'target_name': 'minimal_raw',
      'sources': ['minimal/raw.cpp'],
    },
    {
      'target_name': 'minimal_plain_zax',
      'sources': ['minimal/plain-zax.cpp', '<(prebuilt)'],
      'cflags_cc': ['<@(plain_flags)'],
    },
    {
      'target_name': 'minimal_plain_split',
      'sources': ['minimal/plain-zax.cpp', '<(prebuilt_native)'],
      'cflags_cc': ['<@(plain_flags)'],
      'ldflags': ['-Wl,--gc-sections', '-Wl,-z,defs'],
    },
    {
      # These two carry all of the framework, and differ in the functions alone.
      'target_name': 'minimal_plain_one',
      'sources': ['minimal/plain-zax.cpp'],
      'dependencies': ['zax_unit'],
    },
    {
      'target_name': 'minimal_plain_ten_more',
      'sources': ['minimal/plain-zax.cpp'],
      'defines': ['TEN_MORE'],
      'dependencies': ['zax_unit'],
    },
    {
      'target_name': 'minimal_plain_nan',
      'sources': ['minimal/plain-nan.cpp'],
      'include_dirs': ['<(nan)'],
    },
    {
      'target_name': 'minimal_plain_napi',
      'sources': ['minimal/plain-napi.cpp'],
      'dependencies': ['<(napi)'],
    },
    {
      'target_name': 'minimal_plain_raw',
      'sources': ['minimal/plain-raw.cpp'],
    },
  ],
}
