; The first is taken where the system's language is none of these.
!insertmacro Language English \
  "The effects could not be registered, so everything was left as it was before. Run the setup as an administrator and try again." \
  "A program still uses the older effects. The new ones take their place when Windows is started again."
!insertmacro Language German \
  "Die Effekte ließen sich nicht registrieren; alles ist wie zuvor. Starten Sie das Setup als Administrator und versuchen Sie es noch einmal." \
  "Ein Programm benutzt die älteren Effekte noch. Die neuen treten beim nächsten Start von Windows an ihre Stelle."
!insertmacro Language French \
  "Les effets n'ont pas pu être enregistrés ; tout est resté comme avant. Lancez l'installation en tant qu'administrateur et réessayez." \
  "Un programme utilise encore les anciens effets. Les nouveaux les remplaceront au prochain démarrage de Windows."
!insertmacro Language Japanese \
  "エフェクトを登録できなかったため、すべて元の状態に戻しました。管理者としてセットアップを実行し、もう一度お試しください。" \
  "以前のエフェクトを使用中のプログラムがあります。次回の Windows 起動時に新しいエフェクトに置き換わります。"
!insertmacro Language Korean \
  "이펙트를 등록할 수 없어 모두 이전 상태로 되돌렸습니다. 관리자 권한으로 설치 프로그램을 실행하여 다시 시도하십시오." \
  "이전 이펙트를 사용 중인 프로그램이 있습니다. 다음에 Windows를 시작할 때 새 이펙트로 바뀝니다."
!insertmacro Language Polish \
  "Nie udało się zarejestrować efektów, więc wszystko pozostało jak wcześniej. Uruchom instalator jako administrator i spróbuj ponownie." \
  "Jakiś program nadal używa starszych efektów. Nowe zajmą ich miejsce przy następnym uruchomieniu systemu Windows."
!insertmacro Language PortugueseBR \
  "Não foi possível registrar os efeitos; tudo ficou como antes. Execute o instalador como administrador e tente novamente." \
  "Um programa ainda usa os efeitos anteriores. Os novos tomarão o lugar deles na próxima inicialização do Windows."
!insertmacro Language Russian \
  "Не удалось зарегистрировать эффекты, поэтому всё осталось как прежде. Запустите установку от имени администратора и повторите попытку." \
  "Какая-то программа ещё использует прежние эффекты. Новые займут их место при следующем запуске Windows."
!insertmacro Language SimpChinese \
  "无法注册效果器，一切保持原样。请以管理员身份运行安装程序，然后重试。" \
  "有程序仍在使用旧的效果器。新的效果器将在下次启动 Windows 时生效。"
!insertmacro Language SpanishInternational \
  "No se pudieron registrar los efectos; todo quedó como estaba. Ejecute la instalación como administrador e inténtelo de nuevo." \
  "Un programa todavía usa los efectos anteriores. Los nuevos ocuparán su lugar la próxima vez que se inicie Windows."
