{
  'variables': {
    # This folder as the compiler sees it: it runs in the `build` folder of whoever is built.
    'zaxbase_path': '<!(node -p "path.join(\'..\', path.relative(\'<(DEPTH)\', \'.\'))")',
  },
  'targets': [
    {
      'target_name': 'zaxbase',
      'type': 'static_library',
      'product_prefix': 'lib',
      'sources': [
        'zax-base.cpp',
        'zax-debug.cpp',
        'zax-errno.cpp',
        'zax-error-code.cpp',
        'zax-error-info.cpp',
        'zax-exception.cpp',
        'zax-exception-common.cpp',
        'zax-exception-errno.cpp',
        'zax-message-buffer.cpp',
        'zax-v8-async-job.cpp',
        'zax-v8-base.cpp',
        'zax-v8-callback.cpp',
        'zax-v8-error.cpp',
        'zax-v8-loop.cpp',
        'zax-v8-utils.cpp',
      ],
      'include_dirs': ['.', '<!(node -e "require(\'nan\')")'],
      # With sections an add-on carries only what it uses.
      'cflags': ['-fvisibility=hidden', '-ffunction-sections', '-fdata-sections'],
      'link_settings': {'ldflags': ['-Wl,--gc-sections']},
      'cflags_cc': [
        '-fexceptions',
        '-frtti',
        '-fmacro-prefix-map=<(zaxbase_path)/=libzaxbase/',
      ],
      # What an add-on needs to use the framework.
      'direct_dependent_settings': {
        'include_dirs': ['.', '<!(node -e "require(\'nan\')")'],
        'cflags': ['-fvisibility=hidden'],
        'cflags_cc': [
          '-fexceptions',
          '-frtti',
          # node.h's NODE_MODULE casts the registration function, whatever its parameters.
          '-Wno-cast-function-type',
          # In the add-on's errors its own files begin with its name.
          '-fmacro-prefix-map=../=>(_target_name)/',
          '-fmacro-prefix-map=<(zaxbase_path)/=libzaxbase/',
        ],
      },
    },
  ],
}
