{
  'variables': {
    'zaxbase': '../libzaxbase/zaxbase.gyp:zaxbase',
    'napi': '<!(node -p "require(\'node-addon-api\').targets"):node_addon_api_except',
    'nan': '<!(node -e "require(\'nan\')")',
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
      # The framework as one unit, as add-ons on the plain road compile it.
      'target_name': 'zax_unit',
      'type': 'static_library',
      'sources': ['../libzaxbase/zaxbase.cpp'],
      'cflags_cc': ['-fexceptions', '-frtti', '-isystem <(module_root_dir)/<(nan)'],
      'direct_dependent_settings': {
        'include_dirs': ['../libzaxbase'],
        'cflags_cc': ['-fexceptions', '-frtti'],
      },
    },
    {
      'target_name': 'plain_zax',
      'sources': ['contenders/plain-zax.cpp'],
      'dependencies': ['zax_unit'],
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
  ],
}
